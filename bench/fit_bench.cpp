// Times the completion edit with its final check (placing, re-indenting, analysing the window around the
// edit before and after) on files of 2,000 and 20,000 lines.
#include <benchmark/benchmark.h>

#include <string>

#include "fit/completion_edit.hpp"
#include "fl/i18n.hpp"

namespace {

// A file of functions closed by `end`, `lines` lines long, with a blank line indented into the body of the
// middle function: the cursor's place.
struct File {
    fl::ustring text;
    std::size_t cursor = 0;
};

// With `loopEndMissing`, the middle function's loop has lost its `end` and the cursor stands below the
// `end` of the `if` inside it, where that `end` belongs.
File functionsFile(int lines, bool loopEndMissing = false) {
    std::string text;
    std::size_t cursor = 0;
    const int functions = lines / 14;
    for (int i = 0; i < functions; ++i) {
        const std::string n = std::to_string(i);
        text += "function r = helper" + n + "(x)\n    % Sums the positive values of x.\n    r = 0;\n";
        const bool middle = i == functions / 2;
        if (middle && !loopEndMissing) {
            text += "    ";
            cursor = text.size();
        }
        text +=
            "\n    for k = 1:numel(x)\n        if x(k) > 0\n            r = r + x(k);\n        else\n"
            "            r = r - 1;\n        end\n";
        if (middle && loopEndMissing) {
            text += "        ";
            cursor = text.size();
            text += "\n";
        } else {
            text += "    end\n";
        }
        text += "    disp(sprintf('%d', r));\nend\n";
    }
    return {fl::i18n::to_ustring(text), cursor};
}

fit::StageTexts stagesOf(const std::string& code, const std::string& kept) {
    const fl::ustring reply = fl::i18n::to_ustring("```ostrel\n" + code + "\n```");
    const fl::ustring extracted = fl::i18n::to_ustring(code);
    const fl::ustring rest = fl::i18n::to_ustring(kept);
    return {reply, extracted, rest, rest, rest, rest};
}

// The timed loop every benchmark shares: one edit with its final check per iteration; a benchmark whose
// edit comes out empty reports why instead of timing a shortcut.
void timeEdits(benchmark::State& state, const fl::ustring& file, std::size_t cursor,
               const fit::StageTexts& stages) {
    for (auto _ : state) {
        const fit::Fitted fitted = fit::fitCompletion(file, cursor, stages, fit::IndentSettings{});
        if (!fitted.edit) state.SkipWithError(fitted.reason.c_str());
        benchmark::DoNotOptimize(fitted);
    }
}

void BM_EditAndCheck(benchmark::State& state) {
    const File file = functionsFile(static_cast<int>(state.range(0)));
    const fit::StageTexts stages = stagesOf("while r > 10\n    r = r / 2;\nend\nr = r + 1;",
                                            "while r > 10\n    r = r / 2;\nend\nr = r + 1;");
    timeEdits(state, file.text, file.cursor, stages);
}
BENCHMARK(BM_EditAndCheck)->Arg(2000)->Arg(20000)->Unit(benchmark::kMicrosecond);

// Deduplication took the reply's closing `end` for the function's: the first check fails, the edit puts
// the line back and checks again.
void BM_EditRestoringAnEnd(benchmark::State& state) {
    const File file = functionsFile(static_cast<int>(state.range(0)));
    const fit::StageTexts stages =
        stagesOf("while r > 10\n    r = r / 2;\nend", "while r > 10\n    r = r / 2;");
    timeEdits(state, file.text, file.cursor, stages);
}
BENCHMARK(BM_EditRestoringAnEnd)->Arg(2000)->Arg(20000)->Unit(benchmark::kMicrosecond);

// The reply is the loop's missing `end`, which deduplication dropped as a repeat of the `end` above the
// cursor: the edit without it leaves nothing, and the `end` kept is checked.
void BM_EditKeepingARepeatedEnd(benchmark::State& state) {
    const File file = functionsFile(static_cast<int>(state.range(0)), true);
    const fit::StageTexts stages = stagesOf("end", "");
    timeEdits(state, file.text, file.cursor, stages);
}
BENCHMARK(BM_EditKeepingARepeatedEnd)->Arg(2000)->Arg(20000)->Unit(benchmark::kMicrosecond);

// At the end of a script: a statement after the last line, no function to bound the window.
void BM_EditAtTheEndOfAScript(benchmark::State& state) {
    std::string text;
    for (int i = 0; i < state.range(0); ++i)
        text += "v" + std::to_string(i) + " = compute(data(" + std::to_string(i) + ", :), 'chars');\n";
    const fl::ustring file = fl::i18n::to_ustring(text);
    const fit::StageTexts stages = stagesOf("if v1 > 0\n    w = 1;", "if v1 > 0\n    w = 1;");
    timeEdits(state, file, file.size(), stages);
}
BENCHMARK(BM_EditAtTheEndOfAScript)->Arg(2000)->Arg(20000)->Unit(benchmark::kMicrosecond);

// In the middle of a long class, where only the class's first line is at the margin, with a reply that
// has lost its indentation: the re-indentation reads up to 400 lines above the edit.
void BM_FlatReplyInALongClass(benchmark::State& state) {
    std::string text = "classdef Big < handle\n    methods\n";
    std::size_t cursor = 0;
    const int methods = static_cast<int>(state.range(0)) / 8;
    for (int i = 0; i < methods; ++i) {
        text += "        function r = m" + std::to_string(i) + "(obj, x)\n            r = x;\n";
        if (i == methods / 2) {
            text += "            ";
            cursor = text.size();
        }
        text += "\n            if r > 0\n                r = -r;\n            end\n        end\n";
    }
    text += "    end\nend\n";
    const fl::ustring file = fl::i18n::to_ustring(text);
    const std::string code = "% Halve it until small.\nwhile r > 10\nr = r / 2;\nend";
    const fit::StageTexts stages = stagesOf(code, code);
    timeEdits(state, file, cursor, stages);
}
BENCHMARK(BM_FlatReplyInALongClass)->Arg(2000)->Arg(20000)->Unit(benchmark::kMicrosecond);

// In the middle of a long function indented by hand (bodies two or three columns in, `end`s off their
// block), with a reply that has lost its indentation: the formatter reads the whole function, up to 400
// lines above the edit, and the file's columns come from the blocks around.
void BM_FlatReplyInASloppyFunction(benchmark::State& state) {
    std::string text;
    std::size_t cursor = 0;
    const int functions = static_cast<int>(state.range(0)) / 200;
    for (int i = 0; i < functions; ++i) {
        text += "function r = sloppy" + std::to_string(i) + "(x)\n  r = 0;\n";
        for (int block = 0; block < 28; ++block) {
            text +=
                "   for k = 1:numel(x)\n      if x(k) > 0\n        r = r + x(k);\n         end\n    end\n";
            text += "  r = r * 2;\n";
            if (i == functions / 2 && block == 20) {
                text += "  ";
                cursor = text.size();
                text += "\n";
            }
        }
        text += "end\n";
    }
    const fl::ustring file = fl::i18n::to_ustring(text);
    const std::string code = "while r > 10\nr = r / 2;\nend";
    const fit::StageTexts stages = stagesOf(code, code);
    timeEdits(state, file, cursor, stages);
}
BENCHMARK(BM_FlatReplyInASloppyFunction)->Arg(2000)->Arg(20000)->Unit(benchmark::kMicrosecond);

}  // namespace
