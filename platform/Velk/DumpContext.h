// Where a diagnostic dump goes, and how much of it is wanted. Velk/Dump.h writes one.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Zin/Ptr.h"

namespace Velk {

class DumpContext : public Zin::Entity {
public:
    // A list longer than `maxEntries` is cut to that many unless the dump is verbose.
    DumpContext(bool verbose, std::uint32_t maxEntries)
        : verbose_(verbose), maxEntries_(maxEntries) {}

    bool verbose() const { return verbose_; }
    std::uint32_t maxEntries() const { return maxEntries_; }

    // Whether any list of this dump was cut.
    bool truncated() const { return truncated_; }
    void truncatedIs(bool truncated) const { truncated_ = truncated; }

    // Appends to the dump; a line ends in "\n".
    virtual void print(std::string_view text) const = 0;

private:
    bool const verbose_;
    std::uint32_t const maxEntries_;
    mutable bool truncated_ = false;
};

// A dump into a string.
class TextDumpContext final : public DumpContext {
public:
    using DumpContext::DumpContext;
    void print(std::string_view text) const override { text_ += text; }
    std::string const& text() const { return text_; }

private:
    mutable std::string text_;
};

Zin::Ptr<TextDumpContext> textDumpContextFactory(bool verbose, std::uint32_t maxEntries);

}  // namespace Velk
