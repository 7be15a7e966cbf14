#include "conditions/conditionfile.h"

#include <gmock/gmock.h>

#include <fstream>

#include "journal/temporaryfolder.h"
#include "kzjournalerror.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class ConditionFile : public testing::Test {
protected:
    /// What the conditions are in a file of this text.
    std::vector<std::string> TextsIn(const std::string& text) {
        std::ofstream(path, std::ios::binary) << text;
        std::vector<std::string> texts;
        for (const kzconditions::Condition& each : kzconditions::ReadConditions(path))
            texts.push_back(each.text);
        return texts;
    }
    std::string RefusalOf(const std::string& file) {
        try {
            kzconditions::ReadConditions(file);
            return "";
        } catch (const kzjournal::Error& error) {
            return error.what();
        }
    }

    TemporaryFolder folder;
    const std::string path = folder.Path("conditions");
};

TEST_F(ConditionFile, HasOneConditionInALine) {
    EXPECT_THAT(TextsIn("# of the shop\n\n  a mean < 5\r\n\t# b\nb#c max < 6ms"),
                ElementsAre("a mean < 5", "b#c max < 6ms"));
}

TEST_F(ConditionFile, HasACondition) {
    for (const char* const text : {"", "\n#\n", "# login mean < 5\n"}) {
        std::ofstream(path) << text;
        EXPECT_EQ(path + " has no condition", RefusalOf(path)) << text;
    }
}

TEST_F(ConditionFile, SaysInWhichLineAMistakeIs) {
    std::ofstream(path) << "a mean < 5\n\nb maen < 5\n";
    EXPECT_THAT(RefusalOf(path), StartsWith(path + ", line 3: 'b maen < 5' is no condition"));
}

TEST_F(ConditionFile, MustBeReadable) {
    EXPECT_THAT(RefusalOf(folder.Path("none")), EndsWith("No such file or directory"));
    EXPECT_THAT(RefusalOf(folder.Path("")), HasSubstr("cannot read"));
}

TEST_F(ConditionFile, HasAMebibyteAtMost) {
    const std::string condition = "a mean < 5\n";
    std::ofstream(path) << condition << std::string((1 << 20) - condition.size(), '#');
    EXPECT_EQ("", RefusalOf(path));
    std::ofstream(path) << condition << std::string((1 << 20) - condition.size() + 1, '#');
    EXPECT_THAT(RefusalOf(path), HasSubstr("more than 1048576 bytes"));
}

}  // namespace
