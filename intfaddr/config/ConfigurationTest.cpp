#include "intfaddr/config/Configuration.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "intfaddr/agent/TestFolder.h"

namespace IntfAddr {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

struct ConfigurationTest : testing::Test {
    void put(std::string const& text) const { std::ofstream(file) << text; }

    TestFolder const folder;
    std::string const file = folder / "file";
    Given const given{.config = {.limit = 5000}, .names = {"limit"}};
};

TEST_F(ConfigurationTest, IsOfTheCommandLineWhereThereIsNoFile) {
    Configuration configuration(given, std::nullopt, file);
    EXPECT_EQ(configuration.config(), given.config);
    put("coalesce = 7");
    EXPECT_THAT(configuration.reload(), ElementsAre(StartsWith("no configuration file is in use")));
    EXPECT_EQ(configuration.config(), given.config);
}

TEST_F(ConfigurationTest, AFileThatIsNamedHasToBeThere) {
    EXPECT_THROW(Configuration(given, file), ConfigError);
    EXPECT_NO_THROW(Configuration(given, std::nullopt, file));
}

TEST_F(ConfigurationTest, TheFileOfTheSystemIsReadWhereNoneIsNamed) {
    put("coalesce = 7\nlimit = 6000");
    EXPECT_EQ(Configuration(given, std::nullopt, file).config(),
              (Config{.limit = 5000, .coalesce = 7.0}));
    EXPECT_EQ(Configuration(given, "/dev/null", file).config(), given.config);
    put("coalesec = 7");
    EXPECT_THROW(Configuration(given, std::nullopt, file), ConfigError);
}

TEST_F(ConfigurationTest, AFileOfTheSystemThatCannotBeReachedIsNotTakenForNone) {
    std::filesystem::create_symlink(file, file);
    EXPECT_THROW(Configuration(given, std::nullopt, file), ConfigError);
}

TEST_F(ConfigurationTest, IsReadAgainAndNamesWhatWaits) {
    put("coalesce = 7\nyield-every = 5");
    Configuration configuration(given, file);
    put("coalesce = 8\nyield-every = 6\nlimit = 6000");
    for (int time = 0; time < 2; ++time) {
        EXPECT_THAT(
            configuration.reload(),
            ElementsAre(file + ": 'yield-every' waits for a restart", file + ": was read again"));
        EXPECT_EQ(configuration.config(),
                  (Config{.limit = 5000, .coalesce = 8.0, .yieldEvery = 5}));
    }
    put("yield-every = 5");
    EXPECT_THAT(configuration.reload(), ElementsAre(file + ": was read again"));
    EXPECT_EQ(configuration.config(), (Config{.limit = 5000, .yieldEvery = 5}));
}

TEST_F(ConfigurationTest, ABadFileChangesNothing) {
    put("coalesce = 7");
    Configuration configuration(given, file);
    put("coalesce = 8\nyield-every = 0");
    EXPECT_THAT(configuration.reload(),
                ElementsAre(StartsWith(file + ":2: 'yield-every': 0 is not expected"),
                            file + ": is not taken; the configuration stays as it was"));
    std::filesystem::remove(file);
    EXPECT_THAT(configuration.reload(), ElementsAre(StartsWith(file + ": cannot be read: No such"),
                                                    StartsWith(file + ": is not taken")));
    EXPECT_EQ(configuration.config(), (Config{.limit = 5000, .coalesce = 7.0}));
}

}  // namespace
}  // namespace IntfAddr
