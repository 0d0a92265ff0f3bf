#include "feeds/scenario/LineReader.h"

#include <algorithm>
#include <ios>
#include <streambuf>

#include "Zin/Format.h"
#include "feeds/scenario/FileError.h"

namespace Scenario {

bool LineReader::next() {
    line_.clear();
    hasEnd_ = false;
    ++number_;
    while (!hasEnd_ && (!ahead_.empty() || readAhead())) {
        auto const piece = ahead_.substr(0, ahead_.find('\n'));
        if (piece.size() > maxLength - line_.size()) {
            throw LineError(fmt::format("the line is longer than {} bytes", maxLength));
        }
        line_ += piece;
        hasEnd_ = piece.size() < ahead_.size();
        ahead_.remove_prefix(piece.size() + (hasEnd_ ? 1 : 0));
    }
    return hasEnd_ || !line_.empty();
}

bool LineReader::readAhead() {
    using Traits = std::istream::traits_type;
    // Tells the output that goes with an interactive input to show itself.
    std::istream::sentry const ready(in_, true);
    if (!ready) {
        return false;
    }
    try {
        std::streambuf& from = *in_.rdbuf();
        auto const first = from.sbumpc();
        if (Traits::eq_int_type(first, Traits::eof())) {
            in_.setstate(std::ios::eofbit);
            return false;
        }
        block_.front() = Traits::to_char_type(first);
        auto const there = std::clamp(from.in_avail(), std::streamsize{0},
                                      static_cast<std::streamsize>(block_.size() - 1));
        auto const more = from.sgetn(block_.data() + 1, there);
        ahead_ = {block_.data(), static_cast<std::size_t>(1 + more)};
        return true;
    } catch (std::ios::failure const& error) {
        throw LineError(fmt::format("cannot be read: {}", error.code().message()));
    }
}

}  // namespace Scenario
