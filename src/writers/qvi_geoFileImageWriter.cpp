#include "qvi_geoFileImageWriter.h"

#include <cstdio>
#include <new>

#include "qv_ioFileStream.h"
#include "qv_ioStreamUtils.h"
#include "qvi_geoCoord.h"
#include "qvi_imageStage.h"

namespace Orvanetics {

QVIGeoFileImageWriter::QVIGeoFileImageWriter(bool supportsStream)
    : m_supportsStream(supportsStream)
{
}

QVIGeoFileImageWriter::~QVIGeoFileImageWriter()
{
    closeOwnedStream();
}

QVStatus QVIGeoFileImageWriter::closeOwnedStream()
{
    if (!m_ownsStream || !m_stream)
        return 0;
    return QVIOStreamUtils::closeStream(m_stream);
}

QVStatus QVIGeoFileImageWriter::setOutputFileSpec(const QVFileSpec& fileSpec)
{
    closeOwnedStream();
    m_stream = nullptr;
    m_ownsStream = true;
    m_fileSpec.reset(new (std::nothrow) QVFileSpec(fileSpec));
    return m_fileSpec ? 0 : kStsOutOfMemory;
}

QVStatus QVIGeoFileImageWriter::setOutputFileSpec(const char* path)
{
    return setOutputFileSpec(QVFileSpec(path));
}

QVStatus QVIGeoFileImageWriter::setOutputStream(QVIOStreamInf* stream)
{
    if (!m_supportsStream)
        return kStsUnsupportedOperation;
    closeOwnedStream();
    m_stream = stream;
    m_ownsStream = false;
    m_fileSpec.reset();
    return 0;
}

QVStatus QVIGeoFileImageWriter::writeBegin(const QVIScene& scene)
{
    m_scene = scene;
    if (m_ownsStream && m_supportsStream) {
        if (!m_fileSpec)
            return kStsNoOutputTarget;
        closeOwnedStream();
        m_stream = QVIOStreamUtils::openFileStream(*m_fileSpec, "wb+");
        return m_stream ? 0 : kStsOpenError;
    }
    return (m_stream || m_fileSpec) ? 0 : kStsNoOutputTarget;
}

QVStatus QVIGeoFileImageWriter::writeEnd()
{
    if (m_ownsStream && m_stream) {
        if (const QVStatus status = closeOwnedStream()) {
            deleteOutput();
            return status;
        }
    }
    if (m_writeWorldFile && m_fileSpec && getSourceImageStage()) {
        const QVIGeoCoord geoCoord = getSourceImageStage()->getGeoCoord().getGeoCoordForScene(m_scene);
        return geoCoord.writeWorldFile(*m_fileSpec, true);
    }
    return 0;
}

QVStatus QVIGeoFileImageWriter::deleteOutput()
{
    closeOwnedStream();
    if (!m_fileSpec)
        return 0;
    std::remove(m_fileSpec->getNativePath());
    // The clean-up after a failure runs writeEnd first, which has written it.
    char worldSuffix[4] = {};
    if (m_writeWorldFile && QVIGeoCoord::getWorldFileExtension(*m_fileSpec, worldSuffix) == 0)
        std::remove(m_fileSpec->replaceSuffix(worldSuffix).getNativePath());
    return 0;
}

}  // namespace Orvanetics
