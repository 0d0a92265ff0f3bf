#include "intfaddr/ProgressLine.h"

#include "Zin/Format.h"

namespace IntfAddr {

namespace {

constexpr std::chrono::milliseconds pause{250};
constexpr char const* eraseLine = "\r\x1b[K";

}  // namespace

void ProgressLine::show(std::uint64_t line, Zin::Seconds time) {
    auto const now = std::chrono::steady_clock::now();
    if (now - shown_ < pause) {
        return;
    }
    shown_ = now;
    stands_ = true;
    // The cursor goes back, so that a line of output on the same terminal, which is longer, takes
    // the place of this one.
    terminal_ << eraseLine << fmt::format("line {}, {:.3f} s", line, time) << '\r' << std::flush;
}

void ProgressLine::erase() {
    if (stands_) {
        terminal_ << eraseLine << std::flush;
        stands_ = false;
    }
}

}  // namespace IntfAddr
