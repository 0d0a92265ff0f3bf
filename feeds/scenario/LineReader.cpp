#include "feeds/scenario/LineReader.h"

#include <fmt/format.h>

#include <ios>
#include <streambuf>

#include "feeds/scenario/FileError.h"

namespace Scenario {

bool LineReader::next() {
    using Traits = std::istream::traits_type;
    line_.clear();
    hasEnd_ = false;
    ++number_;
    // Tells the output that goes with an interactive input to show itself.
    std::istream::sentry const ready(in_, true);
    if (!ready) {
        return false;
    }
    try {
        while (true) {
            auto const next = in_.rdbuf()->sbumpc();
            if (Traits::eq_int_type(next, Traits::eof())) {
                in_.setstate(std::ios::eofbit);
                return !line_.empty();
            }
            char const c = Traits::to_char_type(next);
            if (c == '\n') {
                hasEnd_ = true;
                return true;
            }
            if (line_.size() == maxLength) {
                throw LineError(fmt::format("the line is longer than {} bytes", maxLength));
            }
            line_ += c;
        }
    } catch (std::ios::failure const& error) {
        throw LineError(fmt::format("cannot be read: {}", error.code().message()));
    }
}

}  // namespace Scenario
