#include "qv_utilStatusData.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <new>

#include "qv_fileSpec.h"
#include "qv_statusCodes.h"
#include "qv_statusTable.h"

namespace Orvanetics {

namespace {

constexpr QVStatus kIdleStatus = 0xFFFFFFFFu;
constexpr size_t kTextBufferSize = 4096;

// The per-thread block: the record and the text that getLastStatusString
// hands out. Trivially destructible, so it is usable at any point of a
// thread's life without an initialisation guard.
struct ThreadBlock {
    QVUtilStatusData::ErrorState* record;
    char text[kTextBufferSize];
};
thread_local ThreadBlock t_block;

// Gives the record back when its thread ends.
struct RecordReaper {
    bool armed = false;
    ~RecordReaper() {
        delete t_block.record;
        t_block.record = nullptr;
    }
};
thread_local RecordReaper t_reaper;

QVUtilStatusData::ErrorState* existingRecord() { return t_block.record; }

QVUtilStatusData::ErrorState* record() {
    if (t_block.record == nullptr) {
        t_block.record = new (std::nothrow) QVUtilStatusData::ErrorState();
        t_reaper.armed = true;  // odr-use registers the reaper's destructor
    }
    return t_block.record;
}

void empty(QVUtilStatusData::ErrorState& state) {
    state.state = 1;
    state.status = kIdleStatus;
    state.context.clear();
    state.arguments.clear();
    state.readPosition = 0;
}

// The pops work only on a record that holds a status.
QVUtilStatusData::ErrorState* activeRecord() {
    QVUtilStatusData::ErrorState* state = existingRecord();
    return state != nullptr && state->state == 0 ? state : nullptr;
}

void appendArgument(const char* first, const char* last) {
    QVUtilStatusData::ErrorState* state = record();
    if (state == nullptr) return;
    try {
        state->arguments.emplace_back(first, last);
    } catch (const std::bad_alloc&) {
        // The machinery never throws: a lost argument leaves its placeholder standing.
    }
}

template <typename T>
void appendNumber(T value) {
    char digits[32];
    std::to_chars_result result = std::to_chars(digits, digits + sizeof(digits), value);
    appendArgument(digits, result.ptr);
}

// Appends into the thread's text buffer, never past its end.
class BoundedText {
public:
    explicit BoundedText(char* buffer) : m_buffer(buffer) { m_buffer[0] = '\0'; }
    void append(const char* text) {
        while (*text != '\0') append(*text++);
    }
    void append(char c) {
        if (m_length + 1 >= kTextBufferSize) return;
        m_buffer[m_length++] = c;
        m_buffer[m_length] = '\0';
    }
    const char* c_str() const { return m_buffer; }

private:
    char* m_buffer;
    size_t m_length = 0;
};

bool isPlaceholderLetter(char c) { return c == 'F' || c == 'd' || c == 'f' || c == 's' || c == 'u'; }

// Copies the raw text, each placeholder replaced by the next popped argument.
void fillPlaceholders(const char* raw, BoundedText& out) {
    bool afterPercent = false;
    for (const char* p = raw; *p != '\0'; ++p) {
        if (!afterPercent) {
            if (*p == '%') {
                afterPercent = true;
            } else {
                out.append(*p);
            }
            continue;
        }
        afterPercent = false;
        if (!isPlaceholderLetter(*p)) {
            out.append(*p);
            continue;
        }
        char* argument = nullptr;
        if (QVUtilStatusData::popString(argument) == 0 && argument != nullptr) {
            out.append(argument);
            delete[] argument;
        } else {
            out.append('%');
            out.append(*p);
        }
    }
}

}  // namespace

QVStatus QVUtilStatusData::initialize() { return record() != nullptr ? 0 : QVI_STS_OutOfMemory; }

QVStatus QVUtilStatusData::terminate() {
    clear();
    return 0;
}

bool QVUtilStatusData::isActive() { return record() != nullptr; }

void QVUtilStatusData::pushBegin(QVStatus status) {
    ErrorState* state = record();
    if (state == nullptr) return;
    empty(*state);
    state->state = 0;
    state->status = status;
}

void QVUtilStatusData::pushContext(QVStatus status, const char* text) {
    ErrorState* state = record();
    if (state == nullptr) return;
    if (state->status != status) pushBegin(status);
    if (text == nullptr || *text == '\0') return;
    try {
        state->context = text;
    } catch (const std::bad_alloc&) {
        state->context.clear();
    }
}

void QVUtilStatusData::pushUint32(uint32_t value) { appendNumber(value); }

void QVUtilStatusData::pushInt32(int32_t value) { appendNumber(value); }

void QVUtilStatusData::pushDouble(double value) {
    // Six significant digits, as a default-formatted text stream gives them.
    char digits[64];
    std::to_chars_result result =
        std::to_chars(digits, digits + sizeof(digits), value, std::chars_format::general, 6);
    appendArgument(digits, result.ptr);
}

void QVUtilStatusData::pushString(const char* value) {
    if (value == nullptr) value = "";
    appendArgument(value, value + std::strlen(value));
}

void QVUtilStatusData::pushFileSpec(const QVFileSpec& fileSpec) { pushString(fileSpec.getUTF8()); }

QVStatus QVUtilStatusData::popBegin(QVStatus& status) {
    ErrorState* state = activeRecord();
    if (state == nullptr) return QVI_STS_Util_StatusDataInit;
    state->readPosition = 0;
    status = state->status;
    return 0;
}

QVStatus QVUtilStatusData::popContext(const char*& text) {
    ErrorState* state = activeRecord();
    if (state == nullptr) return QVI_STS_Util_StatusDataInit;
    text = state->context.empty() ? nullptr : state->context.c_str();
    return 0;
}

QVStatus QVUtilStatusData::popString(char*& text) {
    ErrorState* state = activeRecord();
    if (state == nullptr) return QVI_STS_Util_StatusDataInit;
    if (state->readPosition >= state->arguments.size()) return QVI_STS_Failure;
    const std::string& argument = state->arguments[state->readPosition];
    char* copy = new (std::nothrow) char[argument.size() + 1];
    if (copy == nullptr) return QVI_STS_OutOfMemory;
    std::memcpy(copy, argument.c_str(), argument.size() + 1);
    text = copy;
    ++state->readPosition;
    return 0;
}

QVStatus QVUtilStatusData::popEnd() { return activeRecord() != nullptr ? 0 : QVI_STS_Util_StatusDataInit; }

void QVUtilStatusData::clear() {
    ErrorState* state = existingRecord();
    if (state != nullptr) empty(*state);
}

}  // namespace Orvanetics

using Orvanetics::QVStatus;
using Orvanetics::QVUtilStatusData;

extern "C" {

QVStatus initializeStatusStrings() { return QVUtilStatusData::initialize(); }

QVStatus terminateStatusStrings() { return QVUtilStatusData::terminate(); }

const char* getRawStatusString(QVStatus status) {
    const char* text = Orvanetics::qvStatusTableLookup(status);
    return text != nullptr ? text : "unknown status";
}

const char* getLastStatusString(QVStatus status) {
    char codePart[24];
    std::snprintf(codePart, sizeof(codePart), " [%d]", static_cast<int>(status));
    Orvanetics::BoundedText out(Orvanetics::t_block.text);
    const char* raw = getRawStatusString(status);

    QVStatus held = 0;
    if (QVUtilStatusData::popBegin(held) != 0 || held != status) {
        out.append(raw);
        out.append(codePart);
        return out.c_str();
    }
    Orvanetics::fillPlaceholders(raw, out);
    out.append(codePart);
    const char* context = nullptr;
    if (QVUtilStatusData::popContext(context) == 0 && context != nullptr) {
        out.append(" (");
        out.append(context);
        out.append(")");
    }
    QVUtilStatusData::popEnd();
    return out.c_str();
}

}  // extern "C"
