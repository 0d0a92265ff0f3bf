// What is wrong with a scenario file. Nothing of the line in question has been applied.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Scenario {

// Somewhere in a line; whoever reads the lines knows which.
class LineError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class FileError : public std::runtime_error {
public:
    FileError(std::uint64_t line, std::string const& message)
        : std::runtime_error(message), line_(line) {}

    // Counted from 1.
    std::uint64_t line() const { return line_; }

private:
    std::uint64_t line_;
};

// The beginning of a text that may be too long for a message; UTF-8 characters stay whole.
std::string shortened(std::string_view text, std::size_t most = 80);

}  // namespace Scenario
