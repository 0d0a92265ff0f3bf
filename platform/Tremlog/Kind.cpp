#include "Tremlog/Kind.h"

namespace Tremlog {
namespace {

constinit Kind const* listed = nullptr;

}  // namespace

Detail::Listing::Listing(Kind& kind) noexcept {
    kind.next = listed;
    listed = &kind;
}

Kind const* kindOf(std::string_view name, std::size_t size) noexcept {
    Kind const* kind = listed;
    while (kind && (kind->name != name || kind->size != size)) {
        kind = kind->next;
    }
    return kind;
}

}  // namespace Tremlog
