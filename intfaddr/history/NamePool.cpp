#include "intfaddr/history/NamePool.h"

namespace IntfAddr {

NamePool::Name NamePool::name(std::string_view text) {
    if (text.empty()) {
        return {};
    }
    auto found = texts_.find(text);
    if (found == texts_.end()) {
        found = texts_.emplace(text, Uses{.pool = this, .count = 0}).first;
        bytes_ += bytesOf(*found);
    }
    return Name(*found);
}

std::optional<NamePool::Name> NamePool::find(std::string_view text) {
    if (text.empty()) {
        return Name();
    }
    auto const found = texts_.find(text);
    return found == texts_.end() ? std::nullopt : std::optional(Name(*found));
}

void NamePool::release(Node& node) {
    if (--node.second.count == 0) {
        bytes_ -= bytesOf(node);
        texts_.erase(texts_.find(node.first));
    }
}

std::size_t NamePool::bytesOf(Node const& node) {
    constexpr std::size_t links = 4 * sizeof(void*);
    // A short text stands in its string.
    bool const isShort = node.first.capacity() <= std::string().capacity();
    std::size_t const text = isShort ? 0 : node.first.capacity() + 1 + blockOverhead;
    return links + sizeof(Node) + blockOverhead + text;
}

}  // namespace IntfAddr
