#include "Velk/DumpContext.h"

namespace Velk {

Zin::Ptr<TextDumpContext> textDumpContextFactory(bool verbose, std::uint32_t maxEntries) {
    return Zin::make<TextDumpContext>(verbose, maxEntries);
}

}  // namespace Velk
