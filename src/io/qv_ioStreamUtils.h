// Operations over any stream: copying, comparing, measuring, cloning,
// formatted output, and opening file and temporary streams.
#pragma once

#include <cstdarg>

#include "qv_fileSpec.h"
#include "qv_ioStreamInf.h"

namespace Orvanetics {

class QVIODynamicMemStream;
class QVIOFileStream;

class QVIOStreamUtils {
public:
    // Copies until the source's read gives 0; 1 on a short write.
    static QVStatus copyStream(QVIOStreamInf* dst, QVIOStreamInf* src);
    // Copies count bytes. A short read that is not at the end of the source
    // gives its getLastError; running out of data ends with the last status.
    // Writes interrupted with status 4 or 11 are resumed; other failures are
    // returned (1 if the destination names none).
    static QVStatus copyStream(QVIOStreamInf* dst, QVIOStreamInf* src, uint64_t count);
    // Closes and deletes the stream and nulls the pointer; null is fine.
    static QVStatus closeStream(QVIOStreamInf*& stream);
    template <typename Stream>
    static QVStatus closeStream(Stream*& stream) {
        QVIOStreamInf* base = stream;
        stream = nullptr;
        return closeStream(base);
    }
    // 0 if both hold the same bytes to the same length, else 1. Both
    // positions are restored.
    static QVStatus compareStreams(QVIOStreamInf* a, QVIOStreamInf* b);
    // The length of the stream, its position kept; -1 on any failure.
    static int64_t getEndPos(QVIOStreamInf* stream);
    // A duplicate, opened and moved to the source's position if the source is
    // open; null on any failure.
    static QVIOStreamInf* clone(QVIOStreamInf* stream);
    // Formats as printf and writes the whole text: its length, or -1.
    static int print(QVIOStreamInf* stream, const char* format, ...) __attribute__((format(printf, 2, 3)));
    static int vprint(QVIOStreamInf* stream, const char* format, va_list args) __attribute__((format(printf, 2, 0)));
    // A new, opened file stream; null on failure.
    static QVIOFileStream* openFileStream(const QVFileSpec& fileSpec, const char* mode);
    static QVIOFileStream* openFileStream(const char* path, const char* mode);
    // Writes the whole stream to a new file, its position kept.
    static QVStatus copyToFile(QVIOStreamInf* stream, const QVFileSpec& fileSpec);
    // An opened in-memory stream for temporary data; null on failure.
    static QVIODynamicMemStream* openTempStream();
};

}  // namespace Orvanetics
