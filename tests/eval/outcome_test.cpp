// Judging and blaming, on planted stage texts: a faulty stage must show up as the outcome a user would
// see and be named as the stage that lost the truth.
#include "outcome.hpp"

#include <gtest/gtest.h>

#include "eval_run.hpp"
#include "reply_variants.hpp"

namespace ostrel_eval {
namespace {

// "if a\n    b = 1;\n    c = 2;\nend\n" with the two body lines cut out at the second line's start.
EvalCase bodyCase() {
    return cutOut(u"if a\n    b = 1;\n    c = 2;\nend\n", 5, 21);
}

fit::Edit insertion(const EvalCase& c, const fl::ustring& text) {
    return {c.cursor, c.cursor, text};
}

TEST(JudgeEdit, ClassifiesTheEditedFile) {
    const EvalCase c = bodyCase();
    ASSERT_EQ(c.truth, u"    b = 1;\n    c = 2;");
    // The editor typed two blanks on the blank line where the file has four.
    const EvalCase typed = cutOutAfterIndent(u"if a\n    b = 1;\n    c = 2;\nend\n", 9, 17, u"  ");
    ASSERT_EQ(typed.cut, u"if a\n  \nend\n");
    const EvalCase crlf = cutOut(u"if a\r\n    b = 1;\r\n    c = 2;\r\nend\r\n", 6, 22);
    struct Row {
        const char* what;
        const EvalCase* evalCase;
        std::optional<fit::Edit> edit;
        Outcome expected;
    };
    const Row rows[] = {
        {"the truth itself", &c, insertion(c, c.truth), Outcome::Exact},
        {"a replaced range that restores the file", &c, fit::Edit{4, 5, u"\n" + c.truth + u""},
         Outcome::Exact},
        {"the first line only", &c, insertion(c, u"    b = 1;"), Outcome::Partial},
        {"the first line with CRLF", &crlf, insertion(crlf, u"    b = 1;"), Outcome::Partial},
        {"a line cut in the middle", &c, insertion(c, u"    b = 1;\n    c"), Outcome::Wrong},
        {"a dangling CR", &crlf, insertion(crlf, u"    b = 1;\r"), Outcome::Wrong},
        {"other indentation", &c, insertion(c, u"b = 1;\n\tc = 2;"), Outcome::Indent},
        {"a line too many", &c, insertion(c, c.truth + u"\n    d = 3;"), Outcome::Wrong},
        {"typed blanks kept", &typed, insertion(typed, typed.truth), Outcome::Indent},
        {"typed blanks replaced", &typed, fit::Edit{5, 7, u"    " + typed.truth}, Outcome::Exact},
        {"typed blanks replaced, first line", &typed, fit::Edit{5, 7, u"    b = 1;"}, Outcome::Partial},
        {"no edit", &c, std::nullopt, Outcome::Lost},
        {"an empty insertion", &c, insertion(c, u""), Outcome::Lost},
        {"an edit beyond the file", &c, fit::Edit{5, 500, u"x"}, Outcome::Wrong},
        {"an edit with its ends swapped", &c, fit::Edit{6, 5, u"x"}, Outcome::Wrong},
    };
    for (const Row& row : rows)
        EXPECT_EQ(outcomeName(judgeEdit(*row.evalCase, row.edit)), outcomeName(row.expected)) << row.what;
}

// Stage texts as a pipeline would give them for `code` at every stage, then one stage planted with a
// fault that every later stage carries on.
fit::StageTexts plantedStages(const EvalCase& c, ReplyVariant variant, int faultyStage,
                              const fl::ustring& faultyText) {
    const fl::ustring code = replyCode(c, variant);
    fit::StageTexts s{
        fl::ustring(u"```ostrel\n") + code + u"\n```\n", code, c.truth, c.truth, c.truth, c.truth};
    fl::ustring* stages[] = {&s.extracted, &s.deduplicated, &s.validated, &s.pruned, &s.completion};
    for (int i = faultyStage; i >= 0 && i < 5; ++i)
        *stages[i] = faultyText;
    return s;
}

TEST(BlameStage, NamesThePlantedFaultAndItsOutcome) {
    const EvalCase c = bodyCase();
    const fl::ustring repeated = replyCode(c, ReplyVariant::RepeatPrefix);
    ASSERT_EQ(repeated, u"if a\n    b = 1;\n    c = 2;");
    struct Row {
        const char* what;
        ReplyVariant variant;
        int faultyStage;  // 0 extraction ... 4 formatting, -1 none
        fl::ustring faultyText;
        Outcome outcome;
        const char* blame;
    };
    const Row rows[] = {
        {"a deduplication that leaves repeats", ReplyVariant::RepeatPrefix, 1, repeated, Outcome::Wrong,
         "deduplication"},
        {"a deduplication that removes a truth line", ReplyVariant::Exact, 1, u"c = 2;", Outcome::Wrong,
         "deduplication"},
        {"an extraction that finds nothing", ReplyVariant::Truncated, 0, u"", Outcome::Lost, "extraction"},
        {"a validation that drops everything", ReplyVariant::Exact, 2, u"", Outcome::Lost, "validation"},
        {"a pruning that keeps the first line", ReplyVariant::Exact, 3, u"    b = 1;", Outcome::Partial,
         "pruning"},
        {"a formatting that flattens", ReplyVariant::Flat, 4, u"b = 1;\nc = 2;", Outcome::Indent,
         "formatting"},
        {"every stage right", ReplyVariant::Exact, -1, u"", Outcome::Exact, ""},
    };
    for (const Row& row : rows) {
        const fit::StageTexts stages = plantedStages(c, row.variant, row.faultyStage, row.faultyText);
        fit::Fitted fitted;
        if (!stages.completion.empty()) fitted.edit = insertion(c, stages.completion);
        const Outcome outcome = judgeEdit(c, fitted.edit);
        EXPECT_EQ(outcomeName(outcome), outcomeName(row.outcome)) << row.what;
        EXPECT_EQ(blameStage(c, stages, fitted, outcome), row.blame) << row.what;
    }
}

TEST(BlameStage, TellsTheModelTheFinalCheckAndTheEditApart) {
    const EvalCase c = bodyCase();
    fit::StageTexts silent;
    EXPECT_EQ(blameStage(c, silent, {}, Outcome::Lost), "model");
    fit::StageTexts elsewhere = plantedStages(c, ReplyVariant::Exact, 0, u"b = 1;\nd = 2;");
    elsewhere.reply = u"```ostrel\nb = 1;\nd = 2;\n```";
    EXPECT_EQ(blameStage(c, elsewhere, {}, Outcome::Wrong), "model");
    const fit::StageTexts good = plantedStages(c, ReplyVariant::Exact, -1, u"");
    fit::Fitted refused;
    refused.emptyStage = "final check";
    EXPECT_EQ(blameStage(c, good, refused, Outcome::Lost), "final check");
    fit::Fitted misplaced;
    misplaced.edit = fit::Edit{0, 0, c.truth};
    EXPECT_EQ(blameStage(c, good, misplaced, judgeEdit(c, misplaced.edit)), "edit");
}

TEST(JudgeCase, JudgesTheRawTextBesideTheEdit) {
    const EvalCase c = bodyCase();
    const CaseResult result = judgeCase(c, plantedStages(c, ReplyVariant::Exact, 3, u"    b = 1;"), {});
    EXPECT_EQ(result.rawOutcome, Outcome::Partial);
    const CaseResult empty = judgeCase(c, {}, {});
    EXPECT_EQ(empty.rawOutcome, Outcome::Lost);
    EXPECT_EQ(empty.outcome, Outcome::Lost);
    EXPECT_EQ(empty.blame, "model");
}

}  // namespace
}  // namespace ostrel_eval
