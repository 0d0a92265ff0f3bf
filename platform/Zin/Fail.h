// The end of a process that has a mistake of ours in its containers: says what is broken and
// aborts.
#pragma once

namespace Zin {

[[noreturn]] void fail(char const* what) noexcept;

}  // namespace Zin
