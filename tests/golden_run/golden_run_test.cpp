// Runs every golden case through the whole pipeline, with the case's reply given by the host's
// reply-file backend, and compares the completion with the one written by hand.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>

#include "fl/i18n.hpp"
#include "mtcc/autocompletion/auto_completion.hpp"
#include "mtcc/cache/settings_values.hpp"
#include "support/golden_case.hpp"
#include "support/pipeline_host.hpp"

namespace {

const std::filesystem::path kCases = std::filesystem::path(OSTREL_SOURCE_DIR) / "tests/golden/cases";

// Cases whose hand-written expectation the pipeline does not meet yet, one name per line; each is a
// known gap that tests/golden/README.md explains. A case that starts passing must leave the list.
std::set<std::string> pendingCases() {
    std::set<std::string> names;
    std::ifstream in(std::filesystem::path(OSTREL_SOURCE_DIR) / "tests/golden/pending.txt");
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line[0] != '#') names.insert(line.substr(0, line.find(' ')));
    }
    return names;
}

fl::ustring run(const testing_support::GoldenCase& c, const testing_support::ReplyFileHost& host) {
    host.setReply(fl::i18n::to_string(c.reply));
    auto settings = std::make_shared<mtcc::cache::SettingsValues>();
    settings->setUserPreferenceSettings(c.startLine, c.endLine, c.tabSize, c.indentSize, c.insertSpaces,
                                        c.functionIndentingFormat, c.blankLineSetting);
    return mtcc::AutoCompletion::GetInfo(u"", c.file, c.cursor, settings).autocompletionResponse;
}

// Every shipped case must also have a numbered unique name and settings the formatter knows (the cases test
// behaviour, not the settings fallbacks); the reader itself refuses a case without a description or with
// other than one cursor, and carriage returns in the file.
void expectWellFormed(const testing_support::GoldenCase& c, std::set<std::string>& numbers) {
    static const std::regex namePattern("[0-9]{3}-[a-z0-9]+(-[a-z0-9]+)*");
    static const std::set<std::u16string> functionStyles = {u"ClassicFunctionIndent", u"MixedFunctionIndent",
                                                            u"AllFunctionIndent"};
    static const std::set<std::u16string> blankStyles = {u"Indent", u"Ignore", u"RemoveWhitespace"};
    SCOPED_TRACE(c.name);
    EXPECT_TRUE(std::regex_match(c.name, namePattern));
    EXPECT_TRUE(numbers.insert(c.name.substr(0, 3)).second) << "number used twice";
    EXPECT_TRUE(functionStyles.count(c.functionIndentingFormat));
    EXPECT_TRUE(blankStyles.count(c.blankLineSetting));
    EXPECT_GE(c.tabSize, 1);
    EXPECT_GE(c.indentSize, 1);
}

}  // namespace

TEST(GoldenCases, CompletionsAreWhatAUserShouldGet) {
    std::vector<testing_support::GoldenCase> cases;
    ASSERT_NO_THROW(cases = testing_support::loadGoldenCases(kCases));
    ASSERT_GE(cases.size(), 150u);
    const auto pending = pendingCases();
    const testing_support::ReplyFileHost host;
    std::set<std::string> numbers;
    std::size_t passed = 0;
    for (const auto& c : cases) {
        expectWellFormed(c, numbers);
        const fl::ustring got = run(c, host);
        const bool matches = got == c.expected;
        passed += matches;
        if (pending.contains(c.name)) {
            EXPECT_FALSE(matches) << c.name << " now passes: remove it from tests/golden/pending.txt";
        } else {
            EXPECT_TRUE(matches) << c.name << "\n"
                                 << c.description << "\n--- expected\n"
                                 << fl::i18n::to_string(c.expected) << "\n--- got\n"
                                 << fl::i18n::to_string(got);
        }
    }
    std::cout << passed << " of " << cases.size() << " golden cases match; " << pending.size()
              << " pending\n";
}
