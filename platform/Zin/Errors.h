// The framework's errors: mistakes of the world, thrown to whoever called. Mistakes of our own are
// assertions instead (Pell::fmassert).
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace Zin {

// Whoever catches it catches all of these.
class Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A value that its type or attribute cannot hold.
class RangeError : public Error {
public:
    using Error::Error;
};

// A null pointer given to the mutator of `attribute`. Nothing has changed.
class NullArgumentError : public Error {
public:
    explicit NullArgumentError(std::string_view attribute);
    std::string const& attribute() const { return attribute_; }

private:
    std::string attribute_;
};

// A member that exists was asked for again with other constructor arguments. Nothing has changed.
class ReinstantiationError : public Error {
public:
    explicit ReinstantiationError(std::string_view attribute);
    std::string const& attribute() const { return attribute_; }

private:
    std::string attribute_;
};

// A text that is not the text form asked for. Names the attribute whose text is malformed (empty
// where the text outside all attributes is), the byte offset and what was expected there.
class ParseError : public Error {
public:
    // `expected` is what what() says after "expected".
    ParseError(std::string_view attribute, std::size_t offset, std::string_view expected);
    std::string const& attribute() const { return attribute_; }
    std::size_t offset() const { return offset_; }
    std::string const& expected() const { return expected_; }

private:
    std::string attribute_;
    std::size_t offset_;
    std::string expected_;
};

}  // namespace Zin
