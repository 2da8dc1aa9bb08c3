// The base of the file writers: the output goes to a file the writer opens
// itself, or to the caller's stream, optionally with a world file beside it.
#pragma once

#include <memory>

#include "qv_fileSpec.h"
#include "qvi_imageWriter.h"

namespace Orvanetics {

class QVIOStreamInf;

class QVIGeoFileImageWriter : public QVIImageWriter {
public:
    static constexpr QVStatus kStsOutOfMemory = 8;            // "out of memory"
    static constexpr QVStatus kStsUnsupportedOperation = 50002;  // "requested operation not supported"
    static constexpr QVStatus kStsOpenError = 50004;          // "error opening file"
    static constexpr QVStatus kStsNoOutputTarget = 50011;     // "output target not specified"

    ~QVIGeoFileImageWriter() override;

    // The writer creates the file at writeBegin and owns its stream.
    virtual QVStatus setOutputFileSpec(const QVFileSpec& fileSpec);
    virtual QVStatus setOutputFileSpec(const char* path);
    // The caller's stream, not owned; 50002 for formats that need a file.
    virtual QVStatus setOutputStream(QVIOStreamInf* stream);
    // A world file beside the output file, written at writeEnd.
    virtual void setWriteWorldFile(bool writeWorldFile) { m_writeWorldFile = writeWorldFile; }

    // Keeps the scene and opens the output file ("wb+"): 50011 without a
    // target, 50004 when the file can't be created.
    QVStatus writeBegin(const QVIScene& scene) override;
    // Closes a file the writer opened and writes the world file if asked.
    QVStatus writeEnd() override;
    // Closes a file the writer opened and deletes it, with its world file.
    QVStatus deleteOutput() override;

    const QVFileSpec* getOutputFileSpec() const { return m_fileSpec.get(); }

protected:
    explicit QVIGeoFileImageWriter(bool supportsStream);

    // The stream of the write in progress (null before writeBegin for a file).
    QVIOStreamInf* getOutputStream() const { return m_stream; }
    // The scene of the write in progress.
    const QVIScene& getScene() const { return m_scene; }

private:
    QVStatus closeOwnedStream();

    const bool m_supportsStream;
    std::unique_ptr<QVFileSpec> m_fileSpec;
    QVIOStreamInf* m_stream = nullptr;
    bool m_ownsStream = false;
    bool m_writeWorldFile = false;
    QVIScene m_scene;
};

}  // namespace Orvanetics
