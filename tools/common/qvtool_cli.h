// What the command-line tools share about the command line itself: option
// parsing, number lists, exit codes, failure messages in the library's own
// words, and the two delegates a terminal user expects (a progress bar and
// Ctrl-C).
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "qvi_delegates.h"

namespace QVTool {

using Orvanetics::QVStatus;

// Exit codes of every tool.
constexpr int kExitSuccess = 0;
constexpr int kExitFailure = 1;      // the library refused: its status text was printed
constexpr int kExitUsage = 2;        // bad command line: a usage line was printed
constexpr int kExitInterrupted = 130;  // Ctrl-C (the shell's 128 + SIGINT)

// "decode operation interrupted": what a read answers after Ctrl-C.
constexpr QVStatus kStsInterrupted = 51501;

struct OptionDef {
    const char* name;  // long name, without the dashes
    char shortName;    // 0 for none
    bool takesValue;
};

// Long options as "--name value" or "--name=value", short ones as "-n value";
// "--" ends the options. The last occurrence of an option wins.
class CommandLine {
public:
    // False, with a message, on an unknown option or a missing value.
    bool parse(int argc, char** argv, std::span<const OptionDef> defs, std::string& error);

    bool has(const char* name) const { return m_values.count(name) != 0; }
    // Null when the option was not given.
    const std::string* value(const char* name) const;
    const std::vector<std::string>& positional() const { return m_positional; }

private:
    bool takeOption(const OptionDef& def, const std::string& inlineValue, bool hasInlineValue,
                    int argc, char** argv, int& index, std::string& error);

    std::map<std::string, std::string> m_values;
    std::vector<std::string> m_positional;
};

// The whole text must be the number.
bool parseDouble(const std::string& text, double& value);
bool parseUint32(const std::string& text, uint32_t& value);
// Exactly `count` numbers separated by commas.
bool parseDoubleList(const std::string& text, size_t count, std::vector<double>& values);

// "program: <the library's text for the status>" on standard error; the exit
// code that goes with the status.
int reportFailure(const char* program, QVStatus status);
// "program: message", the usage line and a pointer to --help; kExitUsage.
int reportUsageError(const char* program, const char* usage, const std::string& message);

// A bar on standard error, shown only when it is a terminal and the decode
// has taken longer than a moment; silent otherwise.
class TerminalProgressBar : public Orvanetics::QVIProgressDelegate {
public:
    explicit TerminalProgressBar(bool enabled);
    ~TerminalProgressBar() override;
    QVStatus reportProgress(float fraction) override;

private:
    void draw(int percent);

    bool m_enabled;
    bool m_drawn = false;
    int m_lastPercent = -1;
    std::chrono::steady_clock::time_point m_start;
};

// Turns SIGINT and SIGTERM into a request to stop the decode between strips;
// a second Ctrl-C kills the process as usual.
class SignalInterrupt : public Orvanetics::QVIInterruptDelegate {
public:
    SignalInterrupt();
    ~SignalInterrupt() override;
    // kStsInterrupted once a signal came.
    QVStatus checkInterrupt() override;
};

}  // namespace QVTool
