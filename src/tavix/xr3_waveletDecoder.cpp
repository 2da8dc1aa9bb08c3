#include "xr3_waveletDecoder.h"

#include "qvi_sceneBuffer.h"

namespace Orvanetics {

PipelinedWaveletDecoder::PipelinedWaveletDecoder(const QVIGeomRect& rect, uint16_t numBands,
                                                 DecodeBase& decodeBase, std::unique_ptr<Pipe> pipe)
    : m_rect(rect), m_numBands(numBands), m_decodeBase(decodeBase), m_pipe(std::move(pipe)) {}

std::unique_ptr<PipelinedWaveletDecoder> PipelinedWaveletDecoder::create(const QVIGeomRect&, uint32_t, uint32_t,
                                                                         uint32_t, uint16_t, int32_t,
                                                                         DecodeBase&) {
    return nullptr;
}

QVStatus PipelinedWaveletDecoder::begin(uint32_t, int32_t, int32_t) { return xr3Fail(QVI_STS_Tavix_NotReached); }
QVStatus PipelinedWaveletDecoder::decodeStrip(const QVIGeomRect&, QVISceneBuffer&) {
    return xr3Fail(QVI_STS_Tavix_NotReached);
}
QVStatus PipelinedWaveletDecoder::end() { return 0; }
uint64_t PipelinedWaveletDecoder::getBufferedSampleCount() const { return 0; }

}  // namespace Orvanetics
