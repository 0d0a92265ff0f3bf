// What stands before the body of a reply (RFC 9112, 4 and 6).
#pragma once

#include <string>
#include <string_view>

#include "intfaddr/http/Reply.h"

namespace IntfAddr {

struct ReplyHead {
    unsigned status;
    std::string_view contentType;
    // The field that says where the body ends; none for a reply that cannot have one.
    std::string framing;
    bool isLast;  // the connection is closed after this reply
    HeaderFields headers{};

    std::string text() const;
};

}  // namespace IntfAddr
