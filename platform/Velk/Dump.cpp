#include "Velk/Dump.h"

#include <cstdio>
#include <string>

namespace Velk {

void dumpText(Zin::Ptr<DumpContext const> const& context, std::string_view text) {
    if (context) {
        context->print(text);
    } else {
        std::fwrite(text.data(), 1, text.size(), stdout);
    }
}

void dumpIndent(Zin::Ptr<DumpContext const> const& context, std::uint32_t indent) {
    if (indent == 0) {
        return;
    }
    // The width of one blank, as printf counts it: a negative one pads on the other side, and a
    // blank padded with blanks looks the same from both.
    auto const width = static_cast<std::int32_t>(indent);
    std::uint32_t const columns = width < 0 ? 0u - indent : indent;
    dumpText(context, std::string(columns, ' '));
}

}  // namespace Velk
