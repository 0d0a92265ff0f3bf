// 32-bit hashing of values. Hash values live in one process only: they are neither stored nor sent.
//
// Hash takes the fields of a record one by one, in the order of their declaration. hashBytes hashes
// a text, hashWords a value of fixed size that is kept in words; both are well mixed, so that their
// results may be used as they are or be fields of a Hash in turn.
//
// Names and addresses come from strangers, who must not be able to choose many that hash alike. So
// each of these is a sum that is keyed with words of the process (see Zin/HashKey.h): of fields
// times words, or of products of two fields that words were added to (MULTILINEAR and
// MULTILINEAR-HM, of D. Lemire and O. Kaser, "Strongly universal string hashing is fast", 2014). No
// input brings such a sum to a value of its choice: under random words the upper halves of the sums
// of two different inputs are equal once in 2^32, whatever the inputs are. A text is summed up
// sixteen bytes at a time, each time with the sum so far. A type whose hash is to have that from
// these feeds them inputs that differ where its values do.
//
// Sums are linear: values in steps have sums in steps. So the two halves are mixed in the end.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

#include "Zin/Fail.h"
#include "Zin/HashKey.h"

namespace Zin {

namespace HashImpl {

inline std::uint64_t start(HashKey const& with, std::uint32_t seed) noexcept {
    return with.words[0] + (std::uint64_t{seed} << 32);
}

// Each of the values has two words of the key to itself.
template <class... Values>
std::uint64_t sum(HashKey const& with, Values... values) noexcept {
    static_assert(2 * sizeof...(values) < HashKey::size);
    return [&]<std::size_t... at>(std::index_sequence<at...>) {
        return (... + ((with.words[1 + 2 * at] + static_cast<std::uint32_t>(values)) *
                       (with.words[2 + 2 * at] + (std::uint64_t{values} >> 32))));
    }
    (std::index_sequence_for<Values...>());
}

inline std::uint32_t finish(std::uint64_t sum) noexcept {
    return static_cast<std::uint32_t>(((sum ^ (sum >> 32)) * 0x9e3779b97f4a7c15U) >> 32);
}

template <class Word>
std::uint64_t read(char const* bytes) noexcept {
    Word word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

}  // namespace HashImpl

// Started from a seed, fed 4-byte and 1-byte values, finished to 32 bits. All records of a type
// feed the same number of values.
class Hash {
public:
    explicit Hash(std::uint32_t seed) noexcept : sum_(HashImpl::start(HashImpl::key, seed)) {}

    // Feeds it one value, of at most eight; one more is a failed invariant (Zin/Fail.h).
    Hash& mix4(std::uint32_t value) noexcept {
        if (++fields_ == HashKey::size) {
            fail({"Hash", "fields < words", "mix4",
                  "a record has more fields than a key has words"});
        }
        sum_ += HashImpl::key.words[fields_] * value;
        return *this;
    }
    Hash& mix1(std::uint8_t value) noexcept { return mix4(value); }

    // The hash of what it was fed so far.
    std::uint32_t finish() const noexcept { return HashImpl::finish(sum_); }

private:
    std::uint64_t sum_;
    std::size_t fields_ = 0;
};

// Of at most four words, unsigned and of up to 64 bits.
template <class... Words>
std::uint32_t hashWords(std::uint32_t seed, Words... words) noexcept {
    using namespace HashImpl;
    return finish(start(key, seed) + sum(key, words...));
}

// With another key than the process's.
inline std::uint32_t hashBytes(HashKey const& with, std::uint32_t seed,
                               std::string_view bytes) noexcept {
    using HashImpl::read, HashImpl::sum;
    char const* at = bytes.data();
    std::size_t left = bytes.size();
    // The size tells a text from the same text with zero bytes behind it.
    std::uint64_t before = left;
    for (; left > 16; at += 16, left -= 16) {
        before = sum(with, before, read<std::uint64_t>(at), read<std::uint64_t>(at + 8));
    }
    // The rest, some of it twice.
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    if (left >= 8) {
        first = read<std::uint64_t>(at);
        last = read<std::uint64_t>(at + left - 8);
    } else if (left >= 4) {
        first = read<std::uint32_t>(at);
        last = read<std::uint32_t>(at + left - 4);
    } else if (left > 0) {
        first = read<std::uint8_t>(at) | read<std::uint8_t>(at + left / 2) << 8;
        last = read<std::uint8_t>(at + left - 1);
    }
    return HashImpl::finish(HashImpl::start(with, seed) + sum(with, before, first, last));
}
inline std::uint32_t hashBytes(std::uint32_t seed, std::string_view bytes) noexcept {
    return hashBytes(HashImpl::key, seed, bytes);
}

// Values that hash themselves, from a seed.
template <class Value>
concept Hashable = requires(Value const& value) {
    { value.hash(std::uint32_t{}) } -> std::same_as<std::uint32_t>;
};

}  // namespace Zin

// For the standard library's containers.
template <Zin::Hashable Value>
struct std::hash<Value> {
    std::size_t operator()(Value const& value) const { return value.hash(Zin::hashSeed()); }
};
