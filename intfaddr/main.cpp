#include <algorithm>
#include <iostream>

#include "intfaddr/Command.h"

int main(int argc, char** argv) {
    return IntfAddr::runCommand({argv + std::min(argc, 1), argv + argc}, std::cout, std::cerr);
}
