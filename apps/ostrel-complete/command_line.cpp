#include "command_line.hpp"

#include <charconv>
#include <functional>
#include <map>
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

double parseDecimal(const std::string& option, const std::string& text) {
    try {
        std::size_t used = 0;
        const double value = std::stod(text, &used);
        if (used == text.size()) return value;
    } catch (const std::exception&) {
    }
    throw std::invalid_argument(option + " expects a number, not '" + text + "'");
}

void parseAt(const std::string& text, CursorSpec& cursor) {
    const auto colon = text.find(':');
    if (colon == std::string::npos) throw std::invalid_argument("--at expects LINE:COLUMN, not '" + text + "'");
    cursor.line = parseNumber<std::size_t>("--at", text.substr(0, colon));
    cursor.column = parseNumber<std::size_t>("--at", text.substr(colon + 1));
    if (*cursor.line == 0 || *cursor.column == 0) {
        throw std::invalid_argument("--at counts lines and columns from 1, not '" + text + "'");
    }
}

void checkChoice(const std::string& option, const std::string& value, std::initializer_list<const char*> choices) {
    std::string all;
    for (const char* choice : choices) {
        if (value == choice) return;
        all += all.empty() ? "" : ", ";
        all += choice;
    }
    throw std::invalid_argument(option + " must be one of " + all + ", not '" + value + "'");
}

}  // namespace

CommandLine parseCommandLine(const std::vector<std::string>& args) {
    CommandLine line;
    using Handler = std::function<void(const std::string&)>;
    const std::map<std::string, Handler> withValue{
        {"--at", [&](const std::string& v) { parseAt(v, line.cursor); }},
        {"--offset", [&](const std::string& v) { line.cursor.offset = parseNumber<std::size_t>("--offset", v); }},
        {"--settings", [&](const std::string& v) { line.settingsFile = v; }},
        {"--backend",
         [&](const std::string& v) {
             checkChoice("--backend", v, {"local", "openai", "infill", "reply-file"});
             line.backend = v;
         }},
        {"--endpoint", [&](const std::string& v) { line.endpoint = v; }},
        {"--model", [&](const std::string& v) { line.model = v; }},
        {"--api-key-variable", [&](const std::string& v) { line.apiKeyVariable = v; }},
        {"--reply-file", [&](const std::string& v) { line.replyFile = v; }},
        {"--corpus", [&](const std::string& v) { line.corpusFolders.push_back(v); }},
        {"--timeout-ms", [&](const std::string& v) { line.timeoutMs = parseNumber<int>("--timeout-ms", v); }},
        {"--max-tokens", [&](const std::string& v) { line.maxTokens = parseNumber<int>("--max-tokens", v); }},
        {"--temperature", [&](const std::string& v) { line.temperature = parseDecimal("--temperature", v); }},
        {"--tab-size", [&](const std::string& v) { line.tabSize = parseNumber<unsigned>("--tab-size", v); }},
        {"--indent-size", [&](const std::string& v) { line.indentSize = parseNumber<unsigned>("--indent-size", v); }},
        {"--function-indent",
         [&](const std::string& v) {
             checkChoice("--function-indent", v,
                         {"ClassicFunctionIndent", "MixedFunctionIndent", "AllFunctionIndent"});
             line.functionIndent = v;
         }},
        {"--blank-lines",
         [&](const std::string& v) {
             checkChoice("--blank-lines", v, {"Indent", "Ignore", "RemoveWhitespace"});
             line.blankLines = v;
         }},
        {"--log", [&](const std::string& v) { line.logFile = v; }},
        {"--log-level",
         [&](const std::string& v) {
             checkChoice("--log-level", v, {"off", "stages", "values", "trace"});
             line.logLevel = v;
         }},
    };
    const std::map<std::string, std::function<void()>> flags{
        {"--json", [&] { line.json = true; }},
        {"--show", [&] { line.show = true; }},
        {"--insert-spaces", [&] { line.insertSpaces = true; }},
        {"--insert-tabs", [&] { line.insertSpaces = false; }},
        {"--help", [&] { line.help = true; }},
        {"-h", [&] { line.help = true; }},
    };

    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (const auto flag = flags.find(arg); flag != flags.end()) {
            flag->second();
        } else if (const auto option = withValue.find(arg); option != withValue.end()) {
            if (i + 1 == args.size()) throw std::invalid_argument(arg + " needs a value");
            option->second(args[++i]);
        } else if (arg.starts_with("-") && arg.size() > 1) {
            throw std::invalid_argument("unknown option '" + arg + "' (see --help)");
        } else if (line.file.empty()) {
            line.file = arg;
        } else {
            throw std::invalid_argument("only one file can be completed at a time ('" + arg + "')");
        }
    }
    if (line.help) return line;
    if (line.file.empty()) throw std::invalid_argument("no file given (see --help)");
    if (line.cursor.offset.has_value() == line.cursor.line.has_value()) {
        throw std::invalid_argument("give the cursor with exactly one of --at LINE:COLUMN and --offset N");
    }
    return line;
}

std::string usage() {
    return R"(usage: ostrel-complete FILE (--at LINE:COLUMN | --offset N) [options]

Prints the completion for the cursor in FILE, and nothing else.

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
  --reply-file FILE       reply-file: the file that holds the model's reply

Formatting (override the editor settings):
  --tab-size N  --indent-size N  --insert-spaces | --insert-tabs
  --function-indent ClassicFunctionIndent | MixedFunctionIndent | AllFunctionIndent
  --blank-lines Indent | Ignore | RemoveWhitespace

Output:
  --json                  the six result texts and each stage's time, as JSON
  --show                  the file around the cursor with the completion marked
  --settings FILE         settings file (default $XDG_CONFIG_HOME/ostrel/settings.json)
  --log FILE              write the diagnostic log to FILE ("-" for stderr)
  --log-level LEVEL       off | stages | values | trace (default stages when --log is given)
)";
}

}  // namespace ostrel_complete
