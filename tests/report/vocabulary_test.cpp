#include "client/report/vocabulary.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

namespace orrery::report {
namespace {

namespace fs = std::filesystem;

const fs::path kData = ORRERY_TEST_DATA;

std::string KeyOf(std::string_view section, std::string_view property)
{
    return std::string{section}.append(1, '.').append(property);
}

/// Whatever has a category, since that is what a report can have.
std::set<std::string> CollectedKeys()
{
    std::set<std::string> keys;
    for (const Term& term : Vocabulary())
        if (!term.category.empty())
            keys.insert(KeyOf(term.section, term.property));
    return keys;
}

TEST(Vocabulary, HasEveryKeyOfTheGoldenReports)
{
    const auto known = CollectedKeys();
    std::size_t facts = 0;
    for (const auto& file : fs::directory_iterator{kData / "reports"}) {
        std::ifstream report{file.path()};
        std::string section, index, property, value;
        while (std::getline(std::getline(report, section, '\t'), index, '\t') &&
               std::getline(std::getline(report, property, '\t'), value)) {
            EXPECT_TRUE(section == "ET" || known.contains(KeyOf(section, property)))
                << KeyOf(section, property) << " of " << file.path();
            ++facts;
        }
    }
    EXPECT_GT(facts, 500U);
}

TEST(Vocabulary, HasTheKeysOfTheDocumentAndNoOthers)
{
    std::set<std::string> documented;
    std::ifstream document{kData / ".." / ".." / "docs" / "report.md"};
    for (std::string line, section; std::getline(document, line);) {
        if (line.starts_with("## "))
            section = line.substr(3);
        if (line.starts_with("| `"))
            documented.insert(KeyOf(section, line.substr(3, line.find('`', 3) - 3)));
    }
    EXPECT_EQ(documented, CollectedKeys());
}

TEST(Vocabulary, JudgesAnUnknownPropertyByItsNamesakes)
{
    EXPECT_EQ(SecretOf("NetworkAdapter", "SSID"), Secret::kNetwork);
    EXPECT_EQ(SecretOf("Future", "SSID"), Secret::kNetwork);
    EXPECT_EQ(SecretOf("Future", "Name"), Secret::kNothing);  // not every name is a computer's
    EXPECT_TRUE(HasFixedValues("", "ChassisTypes"));
    EXPECT_FALSE(HasFixedValues("Future", "SSID"));
    EXPECT_EQ(FindTerm("Future", "SSID"), nullptr);
}

}  // namespace
}  // namespace orrery::report
