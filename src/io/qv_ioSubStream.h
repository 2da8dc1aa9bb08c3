// A byte range of another stream presented as a stream of its own. Positions
// are relative to the range's start; nested sub-streams add up.
#pragma once

#include "qv_ioStreamInf.h"

namespace Orvanetics {

class QVIOSubStream : public QVIOStreamInf {
public:
    QVIOSubStream() = default;
    ~QVIOSubStream() override;
    QVIOSubStream(const QVIOSubStream&) = delete;
    QVIOSubStream& operator=(const QVIOSubStream&) = delete;

    // The range [start, end) of stream, in stream's own positions; with
    // takeOwnership the sub-stream deletes the stream. 1 if start is beyond
    // end, 145011 for a null stream.
    virtual QVStatus initialize(QVIOStreamInf* stream, int64_t start, int64_t end, bool takeOwnership);

    // open: opens the inner stream if needed and moves it to the range's start.
    // seek: the target must lie within the range, its end included, else 145011; an unknown direction gives 1.
    // duplicate: a sub-stream over the same inner stream and range, not owning it.
    QVIO_STREAM_OVERRIDES;

private:
    void releaseInner();
    // Bytes between the inner position and the range's end; -1 when the
    // inner position is unknown.
    int64_t remaining();

    QVIOStreamInf* m_inner = nullptr;
    int64_t m_start = 0;
    int64_t m_end = 0;
    bool m_ownsInner = false;
    bool m_eof = false;
};

}  // namespace Orvanetics
