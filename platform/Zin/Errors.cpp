#include "Zin/Errors.h"

#include <fmt/format.h>

namespace Zin {

NullArgumentError::NullArgumentError(std::string_view attribute)
    : Error(fmt::format("null mutator argument for attribute '{}'", attribute)),
      attribute_(attribute) {}

ReinstantiationError::ReinstantiationError(std::string_view attribute)
    : Error(fmt::format("'{}' exists with other constructor arguments", attribute)),
      attribute_(attribute) {}

ParseError::ParseError(std::string_view attribute, std::size_t offset, std::string_view expected)
    : Error(attribute.empty()
                ? fmt::format("malformed text at byte {}: expected {}", offset, expected)
                : fmt::format("malformed text of '{}' at byte {}: expected {}", attribute, offset,
                              expected)),
      attribute_(attribute),
      offset_(offset),
      expected_(expected) {}

}  // namespace Zin
