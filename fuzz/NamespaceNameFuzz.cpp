// Names of network namespaces, with their limit.
#include <cstddef>
#include <cstdint>

#include "Nimb/NamespaceName.h"
#include "RoundTrip.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Fuzz::checkRoundTrip<Nimb::NamespaceName>(Fuzz::textOf(data, size));
    return 0;
}
