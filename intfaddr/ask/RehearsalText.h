// The answers of a rehearsal (docs/json.md, "why-not" and "what-if") as people read them.
#pragma once

#include <string>

#include "intfaddr/answer/Document.h"

namespace IntfAddr {

std::string whyNotText(Json const& answer);
std::string whatIfText(Json const& answer);

}  // namespace IntfAddr
