// Where a diagnostic dump goes, and how much of it is wanted.
//
// Dumps are lines of text. A line is indented by blanks; the indentation counts in 32 bits, as does
// everything added to it, and one beyond 2^31 is taken for what it is as a signed number: the width
// of a blank set to the left, so that 2^32-2 gives two columns, and 2 more give none.
#pragma once

#include <fmt/format.h>

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

// Prints text without an indentation; without a context, on standard output.
void dumpText(Zin::Ptr<DumpContext const> const& context, std::string_view text);

// Prints the indentation, then the formatted text.
void dumpIndent(Zin::Ptr<DumpContext const> const& context, std::uint32_t indent);
template <class... Args>
void dumpLine(Zin::Ptr<DumpContext const> const& context, std::uint32_t indent,
              fmt::format_string<Args const&...> format, Args const&... args) {
    dumpIndent(context, indent);
    dumpText(context, fmt::format(format, args...));
}

// Prints a list of `size` entries between the notices that it is cut, where it is: `printEntry` is
// called with the entries from the first on, as many of them as are wanted.
template <class List, class PrintEntry>
void dumpList(Zin::Ptr<DumpContext const> const& context, std::uint32_t indent, List const& list,
              std::uint32_t size, PrintEntry&& printEntry) {
    bool const cut = context && !context->verbose() && size > context->maxEntries();
    if (cut) {
        context->truncatedIs(true);
        dumpLine(context, indent,
                 "-- The following list will be truncated, use verbose option to display all {} "
                 "entries --\n",
                 size);
    }
    std::uint32_t left = cut ? context->maxEntries() : size;
    for (auto const& entry : list) {
        if (left-- == 0) {
            break;
        }
        printEntry(entry);
    }
    if (cut) {
        dumpLine(context, indent,
                 "-- This list has been truncated, use verbose option to display all {} entries "
                 "--\n",
                 size);
    }
}

}  // namespace Velk
