// Ids of the events of a watch, as clients send them.
#include <cstddef>
#include <cstdint>

#include "RoundTrip.h"
#include "intfaddr/answer/EventId.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Fuzz::checkRoundTrip<IntfAddr::EventId>(Fuzz::textOf(data, size));
    return 0;
}
