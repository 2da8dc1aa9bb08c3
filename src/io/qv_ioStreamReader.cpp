#include "qv_ioStreamReader.h"

namespace Orvanetics::QVIOByteOrder {

QVStatus reportFailure(QVStatus status) {
    QVUtilStatusData::pushBegin(status);
    QVUtilStatusData::pushEnd();
    return status;
}

}  // namespace Orvanetics::QVIOByteOrder
