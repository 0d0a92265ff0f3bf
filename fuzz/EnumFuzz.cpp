// The enumerations of the platform that read back from their names.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Interface/OperStatus.h"
#include "RoundTrip.h"
#include "Velk/TaskPriority.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string_view const text = Fuzz::textOf(data, size);
    Fuzz::checkRoundTrip<Interface::OperStatus>(text);
    Fuzz::checkRoundTrip<Velk::TaskPriority>(text);
    if (size > 0) {
        Fuzz::checkPrintedForms(Velk::TaskPriority{data[0]});
    }
    return 0;
}
