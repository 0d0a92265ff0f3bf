#include "intfaddr/answer/Document.h"

#include <gtest/gtest.h>

namespace IntfAddr {
namespace {

// In pieces, as a connection takes it.
std::string written(Document& document) {
    std::string all;
    for (bool more = true; more;) {
        std::string piece;
        more = document.next(piece) == Body::Progress::more;
        all += piece;
    }
    return all;
}

TEST(Document, ItsMembersComeInTheirOrderAndItemsOnLinesOfTheirOwn) {
    Document document;
    int left = 3;
    document.member("from", [] { return Json("agent"); })
        .list("numbers",
              [&left](Document::Items& items) {
                  items.next() += std::to_string(left);
                  return --left > 0;
              })
        .list("none", [](Document::Items&) { return false; })
        .member("left", [&left] { return Json(left); });

    EXPECT_EQ(written(document),
              "{\"from\":\"agent\",\"numbers\":[\n3,\n2,\n1\n],\"none\":[],\"left\":0}\n");
}

TEST(Document, AStepMayFindNothingOrGoOnWithAnItem) {
    Document document;
    int step = 0;
    document.list("items", [&step](Document::Items& items) {
        switch (step++) {
            case 1:
                items.next() += "[1";
                break;
            case 3:
                items.more() += ",2]";
                break;
            default:
                break;
        }
        return step < 5;
    });

    EXPECT_EQ(written(document), "{\"items\":[\n[1,2]\n]}\n");
}

TEST(Document, OneWithoutMembersIsAnObjectTooAndBadTextIsReplaced) {
    Document document;
    EXPECT_EQ(written(document), "{}\n");
    EXPECT_EQ(toLine(Json("\xff")), "\"\xef\xbf\xbd\"");
}

}  // namespace
}  // namespace IntfAddr
