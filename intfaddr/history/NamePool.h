// Texts that many share, each kept once: a name costs a pointer to whoever has it, and the last who
// has it takes its text along.
//
// The pool outlives its names.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace IntfAddr {

class NamePool {
    struct Uses {
        NamePool* pool;
        std::uint32_t count;
    };
    using Texts = std::map<std::string, Uses, std::less<>>;
    using Node = Texts::value_type;

public:
    class Name {
    public:
        // The empty one, which costs nothing.
        Name() = default;
        Name(Name&& other) noexcept : node_(std::exchange(other.node_, nullptr)) {}
        Name& operator=(Name&& other) noexcept {
            std::swap(node_, other.node_);
            return *this;
        }
        ~Name() {
            if (node_) {
                node_->second.pool->release(*node_);
            }
        }

        std::string_view text() const { return node_ ? node_->first : std::string_view(); }

        // The same order for as long as they live.
        friend auto operator<=>(Name const&, Name const&) = default;

    private:
        friend class NamePool;
        explicit Name(Node& node) : node_(&node) { ++node.second.count; }

        Node* node_ = nullptr;
    };

    NamePool() = default;
    NamePool(NamePool const&) = delete;
    NamePool& operator=(NamePool const&) = delete;

    Name name(std::string_view text);
    // Nothing where nobody has the name.
    std::optional<Name> find(std::string_view text);

    // Of memory, with what the allocator adds.
    std::size_t bytes() const { return bytes_; }

private:
    static std::size_t bytesOf(Node const& node);
    void release(Node& node);

    Texts texts_;
    std::size_t bytes_ = 0;
};

// What an allocator adds to a block, at most as a rule.
inline constexpr std::size_t blockOverhead = 16;

}  // namespace IntfAddr
