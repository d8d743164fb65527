// The one public series primitive.
#include "core/series.h"

int CAnalysisTechniques::CountThreeStatus(UNIKDATA* bars, int, int n, int i, int count, int mode) {
    return fenxi::CountThreeStatus(bars, n, i, count, mode);
}
