#include "Zin/Fail.h"

#include <cstdio>
#include <cstdlib>

namespace Zin {

void fail(char const* what) noexcept {
    std::fprintf(stderr, "Zin: %s\n", what);
    std::abort();
}

}  // namespace Zin
