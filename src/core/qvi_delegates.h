// Application-owned callbacks that stages, writers and databases only point to.
#pragma once

#include "qv_utilStatusData.h"

namespace Orvanetics {

class QVIProgressDelegate {
public:
    virtual ~QVIProgressDelegate() = default;
    // fraction in 0.0 .. 1.0; a non-zero result is passed on as the read's status.
    virtual QVStatus reportProgress(float fraction) = 0;
};

class QVIInterruptDelegate {
public:
    virtual ~QVIInterruptDelegate() = default;
    // A non-zero result stops the read with that status.
    virtual QVStatus checkInterrupt() = 0;
};

class QVIErrorDelegate {
public:
    virtual ~QVIErrorDelegate() = default;
    virtual QVStatus reportError(QVStatus status) = 0;
};

}  // namespace Orvanetics
