// Status codes and the per-thread side channel that carries the arguments and
// context of the last failure, so a status can be turned into a full message.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Orvanetics {

// Unsigned 32-bit status: 0 is success; each module owns a range of codes.
typedef uint32_t QVStatus;

class QVFileSpec;

// Thrown only where a constructor or value type has no status result
// (always with status 8, out of memory).
class QVUtilException {
public:
    explicit QVUtilException(QVStatus status = 8) : m_status(status) {}
    virtual ~QVUtilException() = default;
    QVStatus getStatus() const { return m_status; }

private:
    QVStatus m_status;
};

// Static operations over one record per thread. The idiom at a place of
// failure: pushBegin(code); one push per placeholder of the code's text;
// pushEnd(); return code.
class QVUtilStatusData {
public:
    // The details of the last status of one thread.
    struct ErrorState {
        int32_t state = 1;              // 1 idle, 0 while holding a status
        QVStatus status = 0xFFFFFFFFu;  // all ones when idle
        std::string context;            // empty when idle
        std::vector<std::string> arguments;  // in the order of pushing
        size_t readPosition = 0;        // next argument for popString
    };

    // Creates this thread's record if absent: 0, or 8 if out of memory.
    static QVStatus initialize();
    // Empties the record (it stays allocated for the thread): 0.
    static QVStatus terminate();
    // Creates the record if absent; true if there is one.
    static bool isActive();

    // Empties the record, then holds this status.
    static void pushBegin(QVStatus status);
    // Replaces the context of a held status, or begins this status with it.
    static void pushContext(QVStatus status, const char* text);
    // Appends an argument as text, whatever the state.
    static void pushUint32(uint32_t value);
    static void pushInt32(int32_t value);
    static void pushDouble(double value);
    // A null string appends an empty argument.
    static void pushString(const char* value);
    static void pushFileSpec(const QVFileSpec& fileSpec);
    static void pushEnd() {}

    // The pops answer 3070 when the record is idle or missing.
    static QVStatus popBegin(QVStatus& status);
    // Null for an empty context; the text stays the record's.
    static QVStatus popContext(const char*& text);
    // The argument at the read position as a new[]-allocated array the caller
    // deletes; 1 past the last argument, 8 if out of memory.
    static QVStatus popString(char*& text);
    static QVStatus popEnd();
    static void clear();
};

}  // namespace Orvanetics

// Flat functions of the status machinery.
extern "C" {
Orvanetics::QVStatus initializeStatusStrings();
Orvanetics::QVStatus terminateStatusStrings();
// The table's text, placeholders unfilled; "unknown status" for an unknown code.
const char* getRawStatusString(Orvanetics::QVStatus status);
// The text filled with the arguments pushed for this status in this thread,
// " [code]" and the context. Valid until the next call in the same thread.
const char* getLastStatusString(Orvanetics::QVStatus status);
}
