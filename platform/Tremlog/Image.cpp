#include "Tremlog/Image.h"

#include <fmt/format.h>

#include <exception>

#include "Tremlog/Kind.h"
#include "Zin/Fail.h"

namespace Tremlog {
namespace {

// Every argument of the format by its kind. Throws what a formatter throws.
std::string messageOf(Format const& format, std::byte const* from) {
    Arguments arguments;
    for (std::uint64_t i = 0; i < format.argumentCount; ++i) {
        auto const& [name, size] = format.arguments[i];
        if (Kind const* const kind = kindOf(name.text(), size)) {
            kind->push(arguments, from);
        } else {
            std::string text = fmt::format("<{} ", name.text());
            for (std::uint64_t k = 0; k < size; ++k) {
                text += fmt::format("{:02x}", from[k]);
            }
            arguments.push_back(text + ">");
        }
        from += size;
    }
    return fmt::vformat(format.text.text(), arguments);
}

bool isWhole(Format const& format) {
    if (format.argumentCount > Format::maxArguments || !isPlainFormat(format.text.text())) {
        return false;
    }
    std::uint64_t left = Slot::argumentSize;
    for (std::uint64_t i = 0; i < format.argumentCount; ++i) {
        if (format.arguments[i].size > left) {
            return false;
        }
        left -= format.arguments[i].size;
    }
    return true;
}

std::string messageOf(Image const& image, Slot const& slot) {
    std::uint64_t const number = slot.stamp & Slot::unfinished;
    if (number == 0 || number > Image::formatCount || !isWhole(image.formats[number - 1])) {
        return fmt::format("<format {} is damaged>", number);
    }
    Format const& format = image.formats[number - 1];
    try {
        return messageOf(format, slot.arguments.data());
    } catch (...) {
        return fmt::format("<no text for \"{}\": {}>", format.text.text(),
                           Zin::textOf(std::current_exception()));
    }
}

}  // namespace

std::string faultOf(Image::Header const& header) {
    if (header.magic.text() != Image::ownMagic) {
        return "is no trace ring";
    }
    if (header.version != Image::ownVersion) {
        return fmt::format("is of version {}; version {} can be read", header.version,
                           Image::ownVersion);
    }
    if (header.slotCount != Image::slotCount || header.formatCount != Image::formatCount) {
        return fmt::format("is damaged: it has {} slots and {} formats instead of {} and {}",
                           header.slotCount, header.formatCount, Image::slotCount,
                           Image::formatCount);
    }
    if (header.cleared > header.written) {
        return fmt::format("is damaged: {} of {} records have been cleared", header.cleared,
                           header.written);
    }
    // Below this rate every time is a number.
    if (!(header.scale.secondsPerTick >= 0.0 && header.scale.secondsPerTick < 1.0)) {
        return "is damaged: its clock has no rate";
    }
    return "";
}

std::vector<Entry> entriesOf(Image const& image, std::string_view unfinished) {
    std::vector<Entry> entries;
    std::uint64_t const first = image.header.cleared;
    for (std::size_t i = 0; i < Image::slotCount; ++i) {
        Slot const& slot = image.slots[i];
        std::uint64_t const number = slot.stamp >> Slot::formatBits;
        bool const isRecord = number != 0 && (number - 1) % Image::slotCount == i;
        if (isRecord && number <= first) {
            continue;
        }
        if (isRecord) {
            bool const isFinished = (slot.stamp & Slot::unfinished) != Slot::unfinished;
            entries.push_back({number - 1 - first, image.header.scale.seconds(slot.ticks),
                               isFinished ? messageOf(image, slot) : std::string(unfinished)});
        } else if (i < image.header.written || slot.stamp != 0) {
            // The last record that can have been there.
            std::uint64_t const written = std::max<std::uint64_t>(image.header.written, i + 1);
            std::uint64_t const last = written - 1 - (written - 1 - i) % Image::slotCount;
            if (last >= first) {
                entries.push_back({last - first, 0.0, fmt::format("<slot {} is damaged>", i)});
            }
        }
    }
    std::ranges::sort(entries, {}, &Entry::sequence);
    return entries;
}

}  // namespace Tremlog
