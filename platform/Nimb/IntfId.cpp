#include "Nimb/IntfId.h"

#include "Nimb/Module.h"
#include "Zin/Module.h"

#include <algorithm>
#include <atomic>
#include <cstring>

namespace Nimb {

Zin::ModuleRegistration const module{{.name = "Nimb", .dependsOn = {&Zin::module}}};

struct IntfId::Block {
    explicit Block(std::string_view text) : name(text) {}

    std::string const name;
    std::atomic<std::uint32_t> owners{1};
};

IntfId::IntfId(std::string_view name) {
    auto const setTag = [this](std::uint8_t tag) { words_[2] |= bigEndian(tag); };
    if (name.size() <= inlineMax) {
        std::copy(name.begin(), name.end(), reinterpret_cast<char*>(&words_));
        setTag(static_cast<std::uint8_t>(name.size()));
    } else {
        words_[0] = reinterpret_cast<std::uintptr_t>(new Block(name));
        words_[1] = Zin::hashBytes(0, name);
        setTag(longTag);
    }
}

IntfId::Raw IntfId::raw() const noexcept {
    Raw raw;
    std::string_view const text = name();
    raw.size_ = static_cast<std::uint8_t>(std::min(text.size(), inlineMax));
    std::copy_n(text.begin(), raw.size_, raw.bytes_.begin());
    if (text.size() > inlineMax) {
        raw.bytes_.back() = '~';
    }
    return raw;
}

IntfId::Block* IntfId::block() const noexcept {
    return reinterpret_cast<Block*>(static_cast<std::uintptr_t>(words_[0]));
}

void IntfId::shareBlock() noexcept { block()->owners.fetch_add(1, std::memory_order_relaxed); }

void IntfId::release() noexcept {
    if (block()->owners.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete block();
    }
}

std::string_view IntfId::longName() const noexcept { return block()->name; }

std::uint32_t IntfId::longHash(std::uint32_t seed) const noexcept {
    return seed == 0 ? static_cast<std::uint32_t>(words_[1]) : Zin::hashWords(seed, words_[1]);
}

}  // namespace Nimb
