// fenxi serve in a build without cpp-httplib (the MinGW cross build).
#include <cstdio>

#include "serve.h"

namespace fenxi_cli {

int Serve(const ServeOptions&) {
    std::fprintf(stderr, "fenxi: 'serve' is not built in: this build has no HTTP library (cpp-httplib)\n");
    return 2;
}

}  // namespace fenxi_cli
