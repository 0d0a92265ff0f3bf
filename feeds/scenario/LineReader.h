// Reads a file one line at a time. Whatever the file is, it takes no more memory than the longest
// line that is allowed, and a little; it reads ahead what is there, and waits for no more than a
// line.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>
#include <string_view>

namespace Scenario {

class LineReader {
public:
    static constexpr std::size_t maxLength = std::size_t{1} << 20;

    explicit LineReader(std::istream& in) : in_(in) {}
    LineReader(LineReader const&) = delete;
    LineReader& operator=(LineReader const&) = delete;

    // Reads the next line; false at the end of the file. Throws LineError where the line is too
    // long or the file cannot be read.
    bool next();
    // Without its end.
    std::string const& line() const { return line_; }
    // False of a last line that lacks its end: whoever wrote it may have been stopped.
    bool hasEnd() const { return hasEnd_; }
    // Counted from 1; 0 before the first.
    std::uint64_t number() const { return number_; }

private:
    // Returns whether there was more.
    bool readAhead();

    std::istream& in_;
    std::array<char, 4096> block_;
    std::string_view ahead_;  // of the block, what no line has yet
    std::string line_;
    bool hasEnd_ = false;
    std::uint64_t number_ = 0;
};

}  // namespace Scenario
