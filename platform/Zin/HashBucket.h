// HashBucket: twelve places of a hash index in one cache line, compared all at once.
//
// A place has the slot of a member and a tag, eight bits of its hash that are never all zero; an
// empty place has the tag 0. What is compared is a set of bits, bit i for place i, so that looking
// up has no branch to guess.
//
// A hash that finds its bucket full goes on to the next bucket and is counted where it passed by:
// a look-up goes on from a bucket only if somebody did, and nothing is left of what was removed.
#pragma once

#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace Zin {

struct alignas(64) HashBucket {
    static constexpr unsigned places = 12;

    std::uint8_t tag[places] = {};
    std::uint32_t passed = 0;
    std::uint32_t slot[places] = {};

    static std::uint8_t tagOf(std::uint32_t hash) {
        auto const low = static_cast<std::uint8_t>(hash);
        return low != 0 ? low : std::uint8_t{1};
    }

    // The places with this tag.
    unsigned match(std::uint8_t wanted) const {
#if defined(__SSE2__)
        // Compares the four bytes behind the tags too, and forgets what they gave.
        __m128i const tags = _mm_load_si128(reinterpret_cast<__m128i const*>(this));
        __m128i const equal = _mm_cmpeq_epi8(tags, _mm_set1_epi8(static_cast<char>(wanted)));
        return static_cast<unsigned>(_mm_movemask_epi8(equal)) & ((1u << places) - 1);
#else
        unsigned equal = 0;
        for (unsigned place = 0; place < places; ++place) {
            equal |= static_cast<unsigned>(tag[place] == wanted) << place;
        }
        return equal;
#endif
    }
    unsigned empties() const { return match(0); }
    unsigned used() const { return empties() ^ ((1u << places) - 1); }
};
static_assert(sizeof(HashBucket) == 64);

}  // namespace Zin
