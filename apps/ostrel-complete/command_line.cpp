#include "command_line.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <stdexcept>

namespace ostrel_complete {
namespace {

template <typename Number>
Number parseNumber(const std::string& option, const std::string& text) {
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        throw std::invalid_argument(option + " expects a number, not '" + text + "'");
    }
    return value;
}

// JSON has no NaN or infinity, and no server samples at a negative temperature.
double parseTemperature(const std::string& text) {
    try {
        std::size_t used = 0;
        const double value = std::stod(text, &used);
        if (used == text.size() && std::isfinite(value) && value >= 0) return value;
    } catch (const std::exception&) {
    }
    throw std::invalid_argument("--temperature expects a finite number, zero or more, not '" + text + "'");
}

void parseAt(const std::string& text, CursorSpec& cursor) {
    const auto colon = text.find(':');
    if (colon == std::string::npos)
        throw std::invalid_argument("--at expects LINE:COLUMN, not '" + text + "'");
    cursor.line = parseNumber<std::size_t>("--at", text.substr(0, colon));
    cursor.column = parseNumber<std::size_t>("--at", text.substr(colon + 1));
    if (*cursor.line == 0 || *cursor.column == 0) {
        throw std::invalid_argument("--at counts lines and columns from 1, not '" + text + "'");
    }
}

void checkChoice(const std::string& option, const std::string& value,
                 const std::vector<std::string>& choices) {
    std::string all;
    for (const auto& choice : choices) {
        if (value == choice) return;
        all += all.empty() ? "" : ", ";
        all += choice;
    }
    throw std::invalid_argument(option + " must be one of " + all + ", not '" + value + "'");
}

}  // namespace

CommandLine parseCommandLine(const std::vector<std::string>& args) {
    CommandLine line;
    CLI::App app("ostrel-complete");
    app.set_help_flag();  // --help prints usage() below, which keeps the options in groups
    app.allow_extras();   // unknown options and extra files get messages of their own
    app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    const auto text = [&](const char* name, std::optional<std::string>& target) {
        app.add_option_function<std::string>(name, [&target](const std::string& v) { target = v; });
    };
    const auto choice = [&](const char* name, std::optional<std::string>& target,
                            std::vector<std::string> choices) {
        app.add_option_function<std::string>(name, [&target, name, choices](const std::string& v) {
            checkChoice(name, v, choices);
            target = v;
        });
    };
    const auto number = [&]<typename Number>(const char* name, std::optional<Number>& target) {
        app.add_option_function<std::string>(
            name, [&target, name](const std::string& v) { target = parseNumber<Number>(name, v); });
    };

    app.add_option("file", line.file);
    app.add_option_function<std::string>("--at", [&](const std::string& v) { parseAt(v, line.cursor); });
    number("--offset", line.cursor.offset);
    text("--settings", line.settingsFile);
    choice("--backend", line.backend, {kBackendNames.begin(), kBackendNames.end()});
    text("--endpoint", line.endpoint);
    text("--model", line.model);
    text("--api-key-variable", line.apiKeyVariable);
    text("--reply-file", line.replyFile);
    app.add_option("--corpus", line.corpusFolders)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option("--workspace", line.workspaceFolders)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    const auto positive = [&](const char* name, std::optional<int>& target) {
        app.add_option_function<std::string>(name, [&target, name](const std::string& v) {
            target = parseNumber<int>(name, v);
            if (*target <= 0) throw std::invalid_argument(std::string(name) + " must be positive, not " + v);
        });
    };
    positive("--timeout-ms", line.timeoutMs);
    positive("--max-tokens", line.maxTokens);
    app.add_option_function<std::string>(
        "--temperature", [&](const std::string& v) { line.temperature = parseTemperature(v); });
    number("--tab-size", line.tabSize);
    number("--indent-size", line.indentSize);
    choice("--function-indent", line.functionIndent,
           {"ClassicFunctionIndent", "MixedFunctionIndent", "AllFunctionIndent"});
    choice("--blank-lines", line.blankLines, {"Indent", "Ignore", "RemoveWhitespace"});
    text("--log", line.logFile);
    choice("--log-level", line.logLevel, {"off", "stages", "values", "trace"});
    app.add_flag("--json", line.json);
    app.add_flag("--show", line.show);
    app.add_flag_callback("--insert-spaces", [&] { line.insertSpaces = true; });
    app.add_flag_callback("--insert-tabs", [&] { line.insertSpaces = false; });
    app.add_flag("-h,--help", line.help);

    // CLI11 takes the arguments last first.
    std::vector<std::string> reversed(args.rbegin(), args.rend());
    try {
        app.parse(reversed);
    } catch (const CLI::ParseError& e) {
        std::string message = e.what();
        std::replace(message.begin(), message.end(), '\n', ' ');
        // An option given last without its value: said as this program always has.
        if (const auto at = message.find(": 1 required"); at != std::string::npos)
            message = message.substr(0, at) + " needs a value";
        throw std::invalid_argument(message);
    }
    for (const auto& extra : app.remaining()) {
        if (extra.starts_with("-") && extra.size() > 1)
            throw std::invalid_argument("unknown option '" + extra + "' (see --help)");
        throw std::invalid_argument("only one file can be completed at a time ('" + extra + "')");
    }
    if (line.help) return line;
    if (line.file.empty()) throw std::invalid_argument("no file given (see --help)");
    if (line.cursor.offset.has_value() == line.cursor.line.has_value()) {
        throw std::invalid_argument("give the cursor with exactly one of --at LINE:COLUMN and --offset N");
    }
    // Either would otherwise be dropped without a word.
    if (line.json && line.show) throw std::invalid_argument("give at most one of --json and --show");
    if (line.logLevel && !line.logFile)
        throw std::invalid_argument("--log-level needs --log FILE (\"-\" for stderr)");
    return line;
}

std::string usage() {
    return R"(usage: ostrel-complete FILE (--at LINE:COLUMN | --offset N) [options]

Prints the completion for the cursor in FILE, and nothing else. FILE "-" reads the text from
standard input (an unsaved buffer). The completion may replace text at the cursor (the rest of the
line it writes out again): --json gives the range.

Cursor:
  --at LINE:COLUMN        1-based line and column (columns count UTF-16 code units)
  --offset N              0-based offset in UTF-16 code units

Model (override the "ostrel.ai" settings):
  --backend NAME          local | openai | infill | reply-file
  --endpoint URL          server address for openai and infill (default http://127.0.0.1:8080)
  --model NAME            model name sent to an openai server
  --api-key-variable VAR  environment variable that holds the API key
  --timeout-ms N          give up on the model after N milliseconds
  --max-tokens N          longest reply to ask for
  --temperature X         sampling temperature
  --corpus DIR            local: another folder of .ost files (repeatable)
  --reply-file FILE       reply-file: the file that holds the model's reply (with --backend
                          reply-file, or that backend in the settings)
  --workspace DIR         local: a folder of the user's code to draw on (repeatable; default the
                          folder of FILE)

Formatting (override the editor settings):
  --tab-size N  --indent-size N  --insert-spaces | --insert-tabs
  --function-indent ClassicFunctionIndent | MixedFunctionIndent | AllFunctionIndent
  --blank-lines Indent | Ignore | RemoveWhitespace
                          blank lines in the completion: given their level's indentation (the
                          settings' PadEmptyLines true), left as they are, or emptied (false)

Output:
  --json                  the six result texts, the edit (start, end in UTF-16 code units, text)
                          and each stage's time, as JSON
  --show                  the file around the cursor with the completion marked
  --settings FILE         settings file (default $XDG_CONFIG_HOME/ostrel/settings.json)
  --log FILE              write the diagnostic log to FILE ("-" for stderr)
  --log-level LEVEL       off | stages | values | trace (default stages when --log is given)
)";
}

}  // namespace ostrel_complete
