// HashBucket: seven places of a hash index in one cache line, compared all at once.
//
// A place has the slot of a member and its whole hash: so a look-up goes on to a member only where
// that is the one sought, save once in four billion, and an index moves its entries without a look
// at what they stand for. An empty place has the slot 0, and any hash. What is compared is a set of
// bits, bit i for place i, so that looking up has no branch to guess.
//
// A hash that finds its bucket full goes on to the next bucket and is counted where it passed by:
// a look-up goes on from a bucket only if somebody did, and nothing is left of what was removed.
//
// Internal to HashIndex.
#pragma once

#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace Zin {

struct alignas(64) HashBucket {
    static constexpr unsigned places = 7;

    std::uint32_t hash[places] = {};
    std::uint32_t passed = 0;
    std::uint32_t slot[places] = {};

    // The places with this hash, empty ones too.
    unsigned match(std::uint32_t wanted) const { return equal(hash, wanted); }
    unsigned empties() const { return equal(slot, 0); }
    // The places of what has its home there: where `hash >> shift` is `home`.
    unsigned at(std::uint32_t home, std::uint32_t shift) const {
        return equal(hash, home, shift) & ~empties();
    }

private:
    // Which of the places' words are this one, when they are shifted to the right.
    static unsigned equal(std::uint32_t const* words, std::uint32_t wanted,
                          std::uint32_t shift = 0) {
#if defined(__SSE2__)
        // Compares the word behind the places' too, and forgets what that gave.
        __m128i const each = _mm_set1_epi32(static_cast<int>(wanted));
        auto const* const four = reinterpret_cast<__m128i const*>(words);
        __m128i const by = _mm_cvtsi32_si128(static_cast<int>(shift));
        __m128i const all =
            _mm_packs_epi32(_mm_cmpeq_epi32(_mm_srl_epi32(_mm_load_si128(four), by), each),
                            _mm_cmpeq_epi32(_mm_srl_epi32(_mm_load_si128(four + 1), by), each));
        return static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(all, all))) &
               ((1u << places) - 1);
#else
        unsigned found = 0;
        for (unsigned place = 0; place < places; ++place) {
            std::uint64_t const word = std::uint64_t{words[place]} >> shift;
            found |= static_cast<unsigned>(word == wanted) << place;
        }
        return found;
#endif
    }
};
static_assert(sizeof(HashBucket) == 64);

}  // namespace Zin
