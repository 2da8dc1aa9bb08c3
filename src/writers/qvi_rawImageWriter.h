// Writes a stage's pixels uncompressed in BIP, BSQ or BIL order and in the
// byte order asked for. BSQ output is laid out in full at writeBegin so that
// each strip can be placed by seeking; the target must therefore be seekable.
#pragma once

#include <cstdint>

#include "qvi_dataType.h"
#include "qvi_geoFileImageWriter.h"
#include "qvi_layout.h"

namespace Orvanetics {

class QVIRawImageWriter : public QVIGeoFileImageWriter {
public:
    static constexpr QVStatus kStsUnknownLayout = 50104;  // "unknown BBB image layout"

    QVIRawImageWriter();
    ~QVIRawImageWriter() override;

    // Retains the stage.
    virtual QVStatus initialize(QVIImageStage* stage);
    void setByteOrder(QVIEndian byteOrder) { m_byteOrder = byteOrder; }
    void setLayout(QVILayout layout) { m_layout = layout; }
    QVIEndian getByteOrder() const { return m_byteOrder; }
    QVILayout getLayout() const { return m_layout; }

    // 50104 for a layout outside BIP, BSQ, BIL.
    QVStatus writeBegin(const QVIScene& scene) override;
    // Byte-swaps the buffer in place when the byte order asks for it.
    QVStatus writeStrip(QVISceneBuffer& buffer, const QVIScene& stripScene) override;

private:
    QVStatus layOutBands();
    QVStatus writeBIL(const QVISceneBuffer& buffer);
    QVStatus writeBSQ(const QVISceneBuffer& buffer);
    QVStatus writeBytes(const void* data, uint64_t count);

    QVILayout m_layout = QVI_LAYOUT_BIP;
    QVIEndian m_byteOrder = QVI_ENDIAN_HOST;
    uint32_t m_numCols = 0;
    uint32_t m_numRows = 0;
    uint32_t m_rowsDone = 0;
};

}  // namespace Orvanetics
