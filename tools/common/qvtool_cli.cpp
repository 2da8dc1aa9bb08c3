#include "qvtool_cli.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "qv_utilStatusData.h"

namespace QVTool {

namespace {

const OptionDef* findLong(std::span<const OptionDef> defs, const std::string& name)
{
    for (const OptionDef& def : defs) {
        if (name == def.name)
            return &def;
    }
    return nullptr;
}

const OptionDef* findShort(std::span<const OptionDef> defs, char name)
{
    for (const OptionDef& def : defs) {
        if (def.shortName != 0 && def.shortName == name)
            return &def;
    }
    return nullptr;
}

}  // namespace

bool CommandLine::parse(int argc, char** argv, std::span<const OptionDef> defs, std::string& error)
{
    bool optionsEnded = false;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (optionsEnded || arg.size() < 2 || arg[0] != '-') {
            m_positional.push_back(arg);
            continue;
        }
        if (arg == "--") {
            optionsEnded = true;
            continue;
        }
        const OptionDef* def = nullptr;
        std::string inlineValue;
        bool hasInlineValue = false;
        if (arg[1] == '-') {
            std::string name = arg.substr(2);
            size_t equals = name.find('=');
            if (equals != std::string::npos) {
                inlineValue = name.substr(equals + 1);
                hasInlineValue = true;
                name.resize(equals);
            }
            def = findLong(defs, name);
        } else if (arg.size() == 2) {
            def = findShort(defs, arg[1]);
        }
        if (def == nullptr) {
            error = "unknown option '" + arg + "'";
            return false;
        }
        if (!takeOption(*def, inlineValue, hasInlineValue, argc, argv, i, error))
            return false;
    }
    return true;
}

bool CommandLine::takeOption(const OptionDef& def, const std::string& inlineValue,
                             bool hasInlineValue, int argc, char** argv, int& index,
                             std::string& error)
{
    if (!def.takesValue) {
        if (hasInlineValue) {
            error = std::string("option --") + def.name + " takes no value";
            return false;
        }
        m_values[def.name] = "";
        return true;
    }
    if (hasInlineValue) {
        m_values[def.name] = inlineValue;
        return true;
    }
    if (index + 1 >= argc) {
        error = std::string("option --") + def.name + " needs a value";
        return false;
    }
    m_values[def.name] = argv[++index];
    return true;
}

const std::string* CommandLine::value(const char* name) const
{
    auto found = m_values.find(name);
    return found == m_values.end() ? nullptr : &found->second;
}

bool parseDouble(const std::string& text, double& value)
{
    if (text.empty())
        return false;
    char* end = nullptr;
    errno = 0;
    value = std::strtod(text.c_str(), &end);
    return errno == 0 && end == text.c_str() + text.size();
}

bool parseUint32(const std::string& text, uint32_t& value)
{
    if (text.empty() || text[0] == '-' || text[0] == '+')
        return false;
    char* end = nullptr;
    errno = 0;
    unsigned long long parsed = std::strtoull(text.c_str(), &end, 10);
    if (errno != 0 || end != text.c_str() + text.size() || parsed > UINT32_MAX)
        return false;
    value = static_cast<uint32_t>(parsed);
    return true;
}

bool parseDoubleList(const std::string& text, size_t count, std::vector<double>& values)
{
    values.clear();
    size_t start = 0;
    while (true) {
        size_t comma = text.find(',', start);
        double value = 0.0;
        if (!parseDouble(text.substr(start, comma - start), value))
            return false;
        values.push_back(value);
        if (comma == std::string::npos)
            break;
        start = comma + 1;
    }
    return values.size() == count;
}

int reportFailure(const char* program, QVStatus status)
{
    std::fprintf(stderr, "%s: %s\n", program, getLastStatusString(status));
    return status == kStsInterrupted ? kExitInterrupted : kExitFailure;
}

int reportUsageError(const char* program, const char* usage, const std::string& message)
{
    std::fprintf(stderr, "%s: %s\nusage: %s\nTry '%s --help' for more information.\n", program,
                 message.c_str(), usage, program);
    return kExitUsage;
}

// Progress bar.

namespace {

// Decodes shorter than this finish without a bar.
constexpr auto kProgressDelay = std::chrono::milliseconds(300);
constexpr int kBarWidth = 40;

}  // namespace

TerminalProgressBar::TerminalProgressBar(bool enabled)
    : m_enabled(enabled && isatty(STDERR_FILENO)), m_start(std::chrono::steady_clock::now())
{
}

TerminalProgressBar::~TerminalProgressBar()
{
    if (m_drawn)
        std::fputc('\n', stderr);
}

QVStatus TerminalProgressBar::reportProgress(float fraction)
{
    if (!m_enabled)
        return 0;
    int percent = static_cast<int>(fraction * 100.0f + 0.5f);
    if (percent == m_lastPercent)
        return 0;
    if (!m_drawn && std::chrono::steady_clock::now() - m_start < kProgressDelay)
        return 0;
    draw(percent);
    return 0;
}

void TerminalProgressBar::draw(int percent)
{
    char bar[kBarWidth + 1];
    int filled = percent * kBarWidth / 100;
    for (int i = 0; i < kBarWidth; ++i)
        bar[i] = i < filled ? '#' : '.';
    bar[kBarWidth] = '\0';
    std::fprintf(stderr, "\r[%s] %3d%%", bar, percent);
    std::fflush(stderr);
    m_drawn = true;
    m_lastPercent = percent;
}

// Ctrl-C.

namespace {

volatile std::sig_atomic_t g_signalled = 0;

extern "C" void onStopSignal(int signalNumber)
{
    g_signalled = 1;
    // The next one ends the process the usual way.
    std::signal(signalNumber, SIG_DFL);
}

}  // namespace

SignalInterrupt::SignalInterrupt()
{
    std::signal(SIGINT, onStopSignal);
    std::signal(SIGTERM, onStopSignal);
}

SignalInterrupt::~SignalInterrupt()
{
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
}

QVStatus SignalInterrupt::checkInterrupt()
{
    return g_signalled ? kStsInterrupted : 0;
}

}  // namespace QVTool
