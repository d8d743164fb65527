/* Calls every flat function from plain C and releases what it gets. */
#include <fenxi/fenxi_c.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int passed, failed;

#define CHECK(cond)                                                        \
    do {                                                                   \
        if (cond) {                                                        \
            ++passed;                                                      \
        } else {                                                           \
            ++failed;                                                      \
            fprintf(stderr, "%s:%d: failed: %s\n", __FILE__, __LINE__, #cond); \
        }                                                                  \
    } while (0)

static size_t traces;
static void count_traces(const char *text) { (void)text; ++traces; }

int main(void) {
    enum { N = 400 };
    UNIKDATA *bars = calloc(36501, sizeof(UNIKDATA));
    LineStruct *lines = NULL;
    char *text = NULL;
    int32_t count = -1, length = -1;
    int i;
    if (bars == NULL) return 2;
    for (i = 0; i < 36501; ++i) { /* a slow zigzag around 10.00 */
        int32_t c = 1000 + (i % 97) * 3 - (i % 13) * 5;
        bars[i].Date = 20200101 + i % 28;
        bars[i].Open = c - 2;
        bars[i].High = c + 6;
        bars[i].Low = c - 7;
        bars[i].Close = c;
        bars[i].Volume = 10000u + (uint64_t)(i % 17) * 300u;
        bars[i].Amount = 1.0e6;
    }
    SetDebugOutputHook(count_traces);

    CHECK(ComputeDKDataForC(N, bars, &lines, &count, "600000", 1, 7, false, false, 100));
    CHECK(count == N && lines != NULL);
    CHECK(lines[N - 1].Value0 != 0.0 && lines[0].Mark == 0.0);
    FreeLineStruct((void **)&lines);
    CHECK(lines == NULL);
    FreeLineStruct((void **)&lines); /* null: nothing to do */

    CHECK(GenerateZJLDXFXForC(36500, bars, &lines, &count, "600000", 0, 1, 100));
    CHECK(count == 36500);
    FreeLineStruct((void **)&lines);
    count = -1;
    CHECK(!GenerateSHLDXFXForC(36501, bars, &lines, &count, "600000", 0, 1, 100));
    CHECK(lines == NULL && count == -1);
    CHECK(GenerateSHLDXFXForC(0, bars, &lines, &count, "600000", 0, 1, 100));
    CHECK(lines != NULL && count == 0);
    FreeLineStruct((void **)&lines);

    CHECK(ComputeDKMsgForC(N, bars, &text, &length, "600000", 1, 2, false, false, 100));
    CHECK(text != NULL && (int32_t)strlen(text) == length);
    FreeCharBuffer((void **)&text);
    CHECK(text == NULL);
    CHECK(ComputeDKDataForCDemo() && ComputeDKMsgForCDemo());
    CHECK(traces > 30);
    SetDebugOutputHook(NULL);
    free(bars);
    printf("%d passed, %d failed\n", passed, failed);
    return failed != 0;
}
