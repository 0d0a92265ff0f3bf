// Explanations as people read them: the sentence, its reasons, and what has happened, with how long
// ago it was. Nothing in it that a terminal would obey.
#pragma once

#include <string>

#include "intfaddr/answer/Document.h"

namespace IntfAddr {

std::string explanationText(Json const& answer);

// Whether it is about a place where the address is, or is kept out of its table.
bool hasPlace(Json const& explanation);

}  // namespace IntfAddr
