#include "Tremlog/Image.h"

#include <gmock/gmock.h>

#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "Nimb/IntfId.h"
#include "Nimb/IpGenAddr.h"
#include "Tremlog/Record.h"
#include "Zin/Format.h"

namespace Tremlog {
namespace {

using testing::ElementsAre;

// The ring's, as another process would find it.
struct ImageTest : testing::Test {
    ImageTest() {
        clear();
        static auto* const image = new Image();
        moved = image;
        ring.moveTo(*moved, "7-1");
    }

    static std::vector<std::string> messages(Image const& image) {
        std::vector<std::string> texts;
        for (auto const& entry : entriesOf(image, "<unfinished>")) {
            texts.push_back(entry.message);
        }
        return texts;
    }
    // The slot of the record that was written last.
    static Slot& last(Image& image) {
        return image.slots[(image.header.written - 1) % Image::slotCount];
    }
    std::unique_ptr<Image> copy() const { return std::make_unique<Image>(*moved); }

    Image* moved;
};

TEST_F(ImageTest, HasAllThatItsReaderNeeds) {
    record<"{} on {} is {}, {} {:.2f}">(Nimb::IpGenAddr("10.0.0.1"), Nimb::IntfId("eth0"), true, 7,
                                        1.5);
    EXPECT_EQ(faultOf(moved->header), "");
    EXPECT_EQ(moved->header.identity.text(), "7-1");
    EXPECT_THAT(messages(*copy()), ElementsAre("10.0.0.1 on eth0 is true, 7 1.50"));
}

TEST_F(ImageTest, HasWhatWasRecordedBefore) {
    record<"before">();
    static auto* const next = new Image();
    ring.moveTo(*next, "7-2");
    record<"after">();
    EXPECT_THAT(messages(*next), ElementsAre("before", "after"));
    EXPECT_THAT(messages(*moved), ElementsAre("before"));
}

TEST_F(ImageTest, ARecordThatIsNotFinishedIsToldInItsPlace) {
    record<"before">();
    record<"torn">();
    last(*moved).stamp |= Slot::unfinished;
    record<"after">();
    EXPECT_THAT(messages(*copy()), ElementsAre("before", "<unfinished>", "after"));
}

TEST_F(ImageTest, ASlotThatIsDamagedIsToldInItsPlace) {
    record<"before">();
    record<"lost">();
    auto const number = (moved->header.written - 1) % Image::slotCount;
    last(*moved).stamp = 0;
    record<"after">();
    auto const text = fmt::format("<slot {} is damaged>", number);
    EXPECT_THAT(messages(*copy()), ElementsAre("before", text, "after"));
    moved->slots[number].stamp = 12345678ULL << Slot::formatBits;
    EXPECT_THAT(messages(*copy()), ElementsAre("before", text, "after"));
}

TEST_F(ImageTest, AKindThatItsReaderDoesNotHaveIsShownAsBytes) {
    record<"a {} of feathers">(std::uint16_t{0x1234});
    auto const image = copy();
    auto& format = image->formats[(last(*image).stamp & Slot::unfinished) - 1];
    format.arguments[0].kind = {};
    format.arguments[0].kind.put("Other::Weight");
    EXPECT_THAT(messages(*image), ElementsAre("a <Other::Weight 3412> of feathers"));
}

TEST_F(ImageTest, AFormatThatCannotBeIsNotFollowed) {
    record<"{} {}">(1, 2);
    auto const number = last(*moved).stamp & Slot::unfinished;
    auto const damaged = ElementsAre(fmt::format("<format {} is damaged>", number));
    auto image = copy();
    image->formats[number - 1].argumentCount = Format::maxArguments + 1;
    EXPECT_THAT(messages(*image), damaged);
    image = copy();
    image->formats[number - 1].arguments[1].size = std::numeric_limits<std::uint64_t>::max();
    EXPECT_THAT(messages(*image), damaged);
    image = copy();
    image->formats[number - 1].text.put("{:9999}");
    EXPECT_THAT(messages(*image), damaged);
    image = copy();
    last(*image).stamp = (last(*image).stamp & ~Slot::unfinished) | (Image::formatCount + 1);
    EXPECT_THAT(messages(*image),
                ElementsAre(fmt::format("<format {} is damaged>", Image::formatCount + 1)));
}

TEST_F(ImageTest, ATextThatSaysItIsLongerThanItsBytesIsNot) {
    record<"{}|{}">("text", Nimb::IntfId("eth0"));
    auto const image = copy();
    auto& bytes = last(*image).arguments;
    bytes[sizeof(Text) - 1] = std::byte(255);
    bytes[sizeof(Text) + sizeof(Nimb::IntfId::Raw) - 1] = std::byte(255);
    std::string text("text");
    text.resize(31);
    std::string name("eth0");
    name.resize(23);
    EXPECT_THAT(messages(*image), ElementsAre(text + "|" + name));
}

TEST_F(ImageTest, AHeaderSaysWhatIsWrongWithIt) {
    auto const fault = [this](auto change) {
        Image::Header header = moved->header;
        change(header);
        return faultOf(header);
    };
    EXPECT_EQ(fault([](auto& header) { header = {}; }), "is no trace ring");
    EXPECT_EQ(fault([](auto& header) { header.version = 7; }),
              "is of version 7; version 1 can be read");
    EXPECT_EQ(fault([](auto& header) { header.slotCount = 1; }),
              "is damaged: it has 1 slots and 128 formats instead of 4096 and 128");
    EXPECT_THAT(fault([](auto& header) { header.cleared = header.written + 1; }),
                testing::StartsWith("is damaged: "));
    EXPECT_THAT(fault([](auto& header) { header.scale.secondsPerTick = 1e300; }),
                testing::StartsWith("is damaged: "));
}

TEST(PlainFormat, GivesNoMoreThanItsArguments) {
    for (char const* const plain : {"", "text", "{}", "{:.2f} {{}} {:>999}", "{{{}}}"}) {
        EXPECT_TRUE(isPlainFormat(plain)) << plain;
    }
    for (char const* const other : {"{:1000}", "{:.1000f}", "{:{}}", "{:.{}}", "{:}>{}}"}) {
        EXPECT_FALSE(isPlainFormat(other)) << other;
    }
}

}  // namespace
}  // namespace Tremlog
