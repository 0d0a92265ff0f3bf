// What must hold for every value of a type, checked on the values that `draw()` makes.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "IpLib/IntfAddrVrfTableTypes/TestValues.h"
#include "Zin/Errors.h"

namespace TestKit {

// The order is that of image(value), an ordered value of the standard library; so is equality.
template <class Draw, class Image>
void expectOrderOf(Image const& image, Draw const& draw) {
    int equal = 0;
    for (int i = 0; i < 10000; ++i) {
        auto const a = draw();
        auto const b = draw();
        auto const c = draw();
        auto const imageA = image(a);
        auto const imageB = image(b);
        ASSERT_EQ(a < b, imageA < imageB);
        ASSERT_EQ(b < a, imageB < imageA);
        ASSERT_EQ(a == b, imageA == imageB);
        ASSERT_FALSE(a < a);
        ASSERT_EQ((a < b) + (b < a) + (a == b), 1);
        if (a < b && b < c) {
            ASSERT_LT(a, c);
        }
        equal += a == b;
    }
    ASSERT_GT(equal, 0);
}

// What `print` writes, `parse` reads.
template <class Draw, class Print, class Parse>
void expectReadsBack(Print const& print, Parse const& parse, Draw const& draw) {
    for (int i = 0; i < 10000; ++i) {
        auto const value = draw();
        std::string const text = print(value);
        ASSERT_EQ(parse(text), value) << text;
    }
}

// A text that has been damaged here and there either is an error of form or range, or is that of
// some value.
template <class Draw, class Print, class Parse>
void expectDamageIsNoticed(Print const& print, Parse const& parse, Draw const& draw) {
    RandomValues random(2);
    int refused = 0;
    for (int i = 0; i < 4000; ++i) {
        std::string text = print(draw());
        for (std::size_t left = 1 + random.below(3); left > 0 && !text.empty(); --left) {
            std::size_t const at = random.below(text.size());
            char const byte = "'\\;=/:,.{}() 01aftE"[random.below(19)];
            switch (random.below(4)) {
                case 0:
                    text.erase(at, 1);
                    break;
                case 1:
                    text.insert(at, 1, byte);
                    break;
                case 2:
                    text[at] = byte;
                    break;
                default:
                    text.resize(at);
            }
        }
        try {
            auto const value = parse(text);
            ASSERT_EQ(parse(print(value)), value) << text;
        } catch (Zin::ParseError const& error) {
            ASSERT_LE(error.offset(), text.size()) << text;
            ++refused;
        } catch (Zin::RangeError const&) {
            ++refused;
        }
    }
    ASSERT_GT(refused, 2000);
}

// A piece of a well-formed text, and the attribute that an error in it names.
struct Piece {
    std::string_view attribute;
    std::string_view text;
};

// The text that the pieces make, cut anywhere, is an error that names the attribute in which it
// was cut.
template <class Parse>
void expectEveryCutNamesItsAttribute(std::vector<Piece> const& pieces, Parse const& parse) {
    std::string text;
    for (Piece const& piece : pieces) {
        for (char const next : piece.text) {
            try {
                parse(text);
                ADD_FAILURE() << "taken for whole: " << text;
            } catch (Zin::ParseError const& error) {
                EXPECT_EQ(error.attribute(), piece.attribute) << text;
                EXPECT_LE(error.offset(), text.size()) << text;
            }
            text += next;
        }
    }
    EXPECT_NO_THROW(parse(text)) << text;
}

}  // namespace TestKit
