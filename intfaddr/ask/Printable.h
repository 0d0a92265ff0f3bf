// Text that holds names, fit for a terminal. Names are anybody's choice; a terminal must not obey
// them.
#pragma once

#include <string>
#include <string_view>

namespace IntfAddr {

// Each control character, of ASCII or of the C1 set in UTF-8, becomes a question mark.
std::string printable(std::string_view text);

}  // namespace IntfAddr
