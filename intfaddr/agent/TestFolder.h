// For tests: a folder of its own, which goes with all that is in it.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

namespace IntfAddr {

struct TestFolder {
    TestFolder() {
        std::string pattern = testing::TempDir() + "intfaddr-XXXXXX";
        path = ::mkdtemp(pattern.data());
    }
    ~TestFolder() { std::filesystem::remove_all(path); }
    TestFolder(TestFolder const&) = delete;
    TestFolder& operator=(TestFolder const&) = delete;

    std::string operator/(std::string const& name) const { return path + "/" + name; }

    std::string path;
};

inline std::set<std::string> namesIn(std::string const& folder) {
    std::set<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(folder)) {
        names.insert(entry.path().filename());
    }
    return names;
}

inline std::string contentOf(std::string const& file) {
    std::ostringstream content;
    content << std::ifstream(file).rdbuf();
    return content.str();
}

}  // namespace IntfAddr
