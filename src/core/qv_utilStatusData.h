// Status codes and the per-thread side channel that carries the arguments and
// context of the last failure, so a status can be turned into a full message.
#pragma once

#include <cstdint>
#include <string>

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
    static QVStatus initialize();
    static QVStatus terminate();
    static bool isActive();

    static void pushBegin(QVStatus status);
    static void pushContext(QVStatus status, const char* text);
    static void pushUint32(uint32_t value);
    static void pushInt32(int32_t value);
    static void pushDouble(double value);
    static void pushString(const char* value);
    static void pushFileSpec(const QVFileSpec& spec);
    static void pushEnd() {}

    static QVStatus popBegin(QVStatus& status);
    static QVStatus popContext(const char*& text);
    // The argument at the read position as a new[]-allocated array the caller deletes.
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
