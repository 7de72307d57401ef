#include "completion_run.hpp"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "client_service.hpp"
#include "cursor.hpp"
#include "fit/completion_edit.hpp"
#include "fl/i18n.hpp"
#include "foundation/log/diagnostic_logger.hpp"
#include "guarded_completion.hpp"
#include "mtcc/autocompletion/auto_completion.hpp"
#include "mtcc/cache/settings_values.hpp"
#include "output.hpp"
#include "qvai/client_options_from_settings.hpp"
#include "run_observer.hpp"
#include "settings/context/context_registry.hpp"
#include "settings/core/settings_file.hpp"
#include "settings/core/settings_store.hpp"

namespace ostrel_complete {
namespace {

// Decoding would turn other bytes into U+FFFD, and the model would be shown (and the local backend
// copy) text the file does not hold.
fl::ustring decodeSource(const std::string& bytes, const std::string& name) {
    const auto lineOf = [&](std::size_t at) {
        return std::to_string(
            1 + std::count(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(at), '\n'));
    };
    if (const auto nul = bytes.find('\0'); nul != std::string::npos)
        throw std::runtime_error("cannot complete " + name + ": it is not a text file (a NUL byte on line " +
                                 lineOf(nul) + ")");
    fl::ustring text = fl::i18n::to_ustring(bytes);
    const std::string back = fl::i18n::to_string(text);
    if (back != bytes) {
        const auto differ = std::mismatch(bytes.begin(), bytes.end(), back.begin(), back.end()).first;
        throw std::runtime_error("cannot complete " + name + ": it is not UTF-8 text (line " +
                                 lineOf(static_cast<std::size_t>(differ - bytes.begin())) + ")");
    }
    return text;
}

// "-" is standard input: an editor's unsaved buffer piped in.
fl::ustring readSource(const std::string& path) {
    std::ostringstream bytes;
    if (path == "-") {
        bytes << std::cin.rdbuf();
        if (std::cin.bad()) throw std::runtime_error("cannot read standard input");
        return decodeSource(bytes.str(), "standard input");
    }
    std::error_code error;
    if (std::filesystem::is_directory(path, error))
        throw std::runtime_error("cannot complete " + path + ": it is a folder, not a file");
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + path + ": " + std::strerror(errno));
    bytes << in.rdbuf();
    if (in.bad()) throw std::runtime_error("cannot read " + path);
    return decodeSource(bytes.str(), path);
}

// A one-shot run has no previous values to fall back on: a settings file it cannot use is an error.
std::filesystem::path settingsFileOf(const CommandLine& line) {
    if (!line.settingsFile) return settings::core::defaultSettingsFilePath();
    const std::filesystem::path file(*line.settingsFile);
    std::error_code error;
    if (!std::filesystem::exists(file, error))
        throw std::runtime_error("settings file " + file.string() + " does not exist");
    return file;
}

// The local backend draws on the user's code: the folders named, or else the folder of the file.
std::vector<std::string> workspaceFoldersOf(const CommandLine& line) {
    // The client passes over folders that have gone (a language server's may); one named here is a typo.
    for (const std::string& folder : line.workspaceFolders) {
        std::error_code error;
        if (!std::filesystem::is_directory(folder, error))
            throw std::invalid_argument("--workspace " + folder + " is not a folder");
    }
    if (!line.workspaceFolders.empty() || line.file == "-") return line.workspaceFolders;
    const auto folder = std::filesystem::absolute(line.file).parent_path();
    return {folder.string()};
}

void setUpLogging(const CommandLine& line) {
    const std::string level = line.logLevel.value_or("stages");
    if (!line.logFile || level == "off") return;
    const foundation::log::severity_mask mask =
        level == "off"      ? 0
        : level == "stages" ? foundation::log::kSeverityStage
        : level == "values" ? foundation::log::kSeverityStage | foundation::log::kSeverityValue
                            : foundation::log::kSeverityStage | foundation::log::kSeverityValue |
                                  foundation::log::kSeverityTrace;
    if (*line.logFile == "-") {
        foundation::log::add_stderr_sink();
    } else {
        foundation::log::add_file_sink(*line.logFile);
    }
    foundation::log::set_default_mask(mask);
}

void applyFormattingOptions(const CommandLine& line, mtcc::cache::SettingsValues& settings) {
    settings.setUserPreferenceSettings(
        settings.startLine, settings.endLine,
        static_cast<unsigned short>(line.tabSize.value_or(settings.tabSize)),
        static_cast<unsigned short>(line.indentSize.value_or(settings.indentSize)),
        line.insertSpaces.value_or(settings.insertSpaces),
        line.functionIndent ? fl::i18n::to_ustring(*line.functionIndent) : settings.functionIndentingFormat,
        line.blankLines ? fl::i18n::to_ustring(*line.blankLines) : settings.blankLineSetting);
}

// The command line's values are checked as they are read; a bad value here is the file's, and it stops
// the run even where an option overrides it, as a leaf of the wrong type does.
qvai::ClientOptions fileClientOptions(const settings::core::Settings& root, const std::string& file) {
    try {
        qvai::ClientOptions options = qvai::clientOptionsFromSettings(root);
        if (std::find(kBackendNames.begin(), kBackendNames.end(), options.Backend) == kBackendNames.end())
            throw std::invalid_argument(
                "'ostrel.ai.Backend' must be one of local, openai, infill, reply-file, "
                "not '" +
                options.Backend + "'");
        for (const auto& [leaf, value] :
             {std::pair{"TimeoutMs", options.TimeoutMs}, {"MaxTokens", options.MaxTokens}})
            if (value <= 0)
                throw std::invalid_argument(std::string("'ostrel.ai.") + leaf + "' must be positive, not " +
                                            std::to_string(value));
        return options;
    } catch (const std::invalid_argument& e) {
        throw std::invalid_argument(file + ": " + e.what());
    }
}

qvai::ClientOptions clientOptions(const CommandLine& line, const settings::core::Settings& root,
                                  const std::string& settingsFile) {
    qvai::ClientOptions options = fileClientOptions(root, settingsFile);
    if (line.backend) options.Backend = *line.backend;
    if (line.endpoint) options.Endpoint = *line.endpoint;
    if (line.model) options.Model = *line.model;
    if (line.apiKeyVariable) options.ApiKeyVariable = *line.apiKeyVariable;
    if (line.replyFile) options.ReplyFile = *line.replyFile;
    if (line.timeoutMs) options.TimeoutMs = *line.timeoutMs;
    if (line.maxTokens) options.MaxTokens = *line.maxTokens;
    if (line.temperature) options.Temperature = *line.temperature;
    options.CorpusFolders.insert(options.CorpusFolders.end(), line.corpusFolders.begin(),
                                 line.corpusFolders.end());
    options.WorkspaceFolders = workspaceFoldersOf(line);
    if (options.Backend == "reply-file" && options.ReplyFile.empty()) {
        throw std::invalid_argument("the reply-file backend needs --reply-file FILE");
    }
    // Left unused, these would be silently ignored and another backend asked instead.
    if (line.replyFile && options.Backend != "reply-file")
        throw std::invalid_argument("--reply-file is for the reply-file backend, not " + options.Backend +
                                    " (add --backend reply-file)");
    if ((line.endpoint || line.model) && options.Backend != "openai" && options.Backend != "infill")
        throw std::invalid_argument(std::string(line.endpoint ? "--endpoint" : "--model") +
                                    " is for the openai and infill backends, not " + options.Backend +
                                    " (add --backend openai or --backend infill)");
    return options;
}

}  // namespace

void runCompletion(const CommandLine& line, std::ostream& out, bool outIsTerminal) {
    const fl::ustring code = readSource(line.file);
    const std::size_t cursor =
        cursorOffset(code, line.cursor, line.file == "-" ? "standard input" : line.file);
    setUpLogging(line);

    const std::filesystem::path settingsFile = settingsFileOf(line);
    settings::core::SettingsStore store(settingsFile);
    if (const std::string error = store.lastError(); !error.empty()) throw std::runtime_error(error);
    settings::context::installSettingsRoot(store.root());

    // The store's watcher may reload the file meanwhile: read the record and the options as one set.
    auto [settings, options] = [&] {
        const auto reading = store.root()->readingLock();
        return std::pair{ostrel_apps::settingsSnapshot(),
                         clientOptions(line, *store.root(), settingsFile.string())};
    }();
    applyFormattingOptions(line, *settings);
    const ostrel_apps::ClientService service(options);

    RunObserver observer;
    mtcc::AutoCompletion::InfoResult result = mtcc::AutoCompletion::GetInfo(u"", code, cursor, settings);
    observer.finished();
    ostrel_apps::restoreInnerBackticks(result);

    // The local backend having nothing to offer is an empty completion, not an error.
    if (const auto failures = observer.modelFailures(); !failures.empty() && options.Backend != "local") {
        const std::string where =
            options.Backend == "openai" || options.Backend == "infill"
                ? " at " +
                      (options.Endpoint.empty() ? std::string("http://127.0.0.1:8080") : options.Endpoint)
                : "";
        throw std::runtime_error("the " + options.Backend + " model" + where +
                                 " gave no reply: " + failures.front());
    }

    const fit::Fitted fitted = fit::fitCompletion(
        code, cursor,
        {result.LLMResponse, result.LLMGeneratedCode, result.deduplicatedGeneratedCode,
         result.validatedLLMGeneratedCode, result.prunedLLMGeneratedCode, result.autocompletionResponse},
        ostrel_apps::indentSettingsOf(*settings));
    if (line.json) {
        writeJson(out, result, fitted, observer.stageTimes());
    } else if (line.show) {
        writeShow(out, code, fitted, cursor, outIsTerminal);
    } else {
        writeCompletion(out, fitted);
        // A terminal gets a final line end so that the prompt starts on its own line; a pipe gets the
        // text exactly.
        if (outIsTerminal && fitted.edit && !fitted.edit->text.empty() && fitted.edit->text.back() != u'\n') {
            out << '\n';
        }
    }
}

}  // namespace ostrel_complete
