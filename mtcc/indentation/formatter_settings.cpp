#include "mtcc/indentation/formatter_settings.hpp"

namespace mtcc::Indentation {

namespace {

using ca::formatting::legacy::BlankLines;
using ca::formatting::legacy::FunctionIndentation;
using foundation::log::kSeverityValue;

constexpr std::uint32_t kMaxLine = 10000000;
constexpr std::uint32_t kMaxWidth = 1024;

void report(const foundation::log::diagnostic_logger& log, const char* text) {
    if (log.is_enabled(kSeverityValue)) log.record(kSeverityValue) << text;
}

std::uint32_t clampLine(std::uint32_t line, const foundation::log::diagnostic_logger& log,
                        const char* record) {
    if (line <= kMaxLine) return line;
    report(log, record);
    return kMaxLine;
}

std::uint32_t clampWidth(std::uint32_t width, const foundation::log::diagnostic_logger& log,
                         const char* record) {
    if (width == 0) {
        report(log, record);
        return 1;
    }
    if (width > kMaxWidth) {
        report(log, record);
        return kMaxWidth;
    }
    return width;
}

FunctionIndentation functionIndentation(const fl::ustring& text,
                                        const foundation::log::diagnostic_logger& log) {
    if (text == u"ClassicFunctionIndent") return FunctionIndentation::Classic;
    if (text == u"MixedFunctionIndent") return FunctionIndentation::Mixed;
    if (text == u"AllFunctionIndent") return FunctionIndentation::All;
    report(log, "Function indentation setting is invalid.");
    return FunctionIndentation::Classic;
}

BlankLines blankLines(const fl::ustring& text, const foundation::log::diagnostic_logger& log) {
    if (text == u"Indent") return BlankLines::Indent;
    if (text == u"Ignore") return BlankLines::Ignore;
    if (text == u"RemoveWhitespace") return BlankLines::RemoveWhitespace;
    report(log, "Blank line setting must be 'Ignore', 'Indent', or 'RemoveWhitespace'");
    return BlankLines::Ignore;
}

}  // namespace

ca::formatting::legacy::Settings toFormatterSettings(const cache::SettingsValues& values,
                                                     const foundation::log::diagnostic_logger& log) {
    ca::formatting::legacy::Settings settings;
    settings.startLine = clampLine(values.startLine, log, "MTCC Invalid startLine Value");
    settings.endLine = clampLine(values.endLine, log, "MTCC Invalid endLine Value");
    settings.insertSpaces = values.insertSpaces;
    settings.tabSize = clampWidth(values.tabSize, log, "MTCC Invalid tabSize Value");
    settings.indentSize = clampWidth(values.indentSize, log, "MTCC Invalid indentSize Value");
    settings.functionIndentation = functionIndentation(values.functionIndentingFormat, log);
    settings.blankLines = blankLines(values.blankLineSetting, log);
    return settings;
}

}  // namespace mtcc::Indentation
