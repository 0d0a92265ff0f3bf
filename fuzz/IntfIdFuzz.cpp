// Interface names, held against plain strings.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "Nimb/IntfId.h"
#include "RoundTrip.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string_view const text = Fuzz::textOf(data, size);
    Fuzz::checkRoundTrip<Nimb::IntfId>(text);
    Fuzz::checkPrintedForms(Nimb::IntfId(text));

    // The first byte says where the input is cut in two names.
    std::size_t const cut = size == 0 ? 0 : std::min<std::size_t>(data[0], size);
    std::string_view const a = text.substr(0, cut);
    std::string_view const b = text.substr(cut);
    Nimb::IntfId first(a);
    Nimb::IntfId second(b);
    Fuzz::require(first.name() == a && second.name() == b);
    Fuzz::require((first == second) == (a == b));
    Fuzz::require((first <=> second) == (a <=> b));
    Fuzz::require(a != b || first.hash() == second.hash());
    std::swap(first, second);
    Nimb::IntfId const copy = second;
    second = first;
    Fuzz::require(copy.name() == a && second.name() == b && second == first);
    return 0;
}
