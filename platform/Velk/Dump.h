// What a diagnostic dump is written with.
//
// Dumps are lines of text. A line is indented by blanks; the indentation counts in 32 bits, as does
// everything added to it, and one beyond 2^31 is taken for what it is as a signed number: the width
// of a blank set to the left, so that 2^32-2 gives two columns, and 2 more give none.
#pragma once

#include <cstdint>
#include <string_view>

#include "Velk/DumpContext.h"
#include "Zin/Format.h"

namespace Velk {

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
