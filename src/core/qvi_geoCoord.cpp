#include "qvi_geoCoord.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <new>
#include <string>
#include <strings.h>

#include "qv_ioFileStream.h"
#include "qv_ioStreamInf.h"
#include "qv_ioStreamUtils.h"
#include "qv_statusCodes.h"
#include "qvi_metadataEditor.h"
#include "qvi_scene.h"

namespace Orvanetics {

namespace {

std::unique_ptr<char[]> copyText(const char* text)
{
    if (!text) return nullptr;
    const size_t length = std::strlen(text) + 1;
    std::unique_ptr<char[]> copy(new (std::nothrow) char[length]);
    if (!copy) throw QVUtilException(QVI_STS_OutOfMemory);
    std::memcpy(copy.get(), text, length);
    return copy;
}

// Origin values: relative 5e-11 of their sum, or an absolute 1e-6.
bool originsMatch(double a, double b)
{
    const double difference = std::fabs(a - b);
    return difference <= 5e-11 * std::fabs(a + b) || difference <= 1e-6;
}

// Resolutions and rotations: relative 1e-6, exact where either is zero.
bool factorsMatch(double a, double b)
{
    if (a == 0.0 || b == 0.0) return a == b;
    return std::fabs(a / b - 1.0) <= 1e-6;
}

bool textsMatch(const char* a, const char* b)
{
    if (a == b) return true;
    if (!a || !b) return false;
    return std::strcmp(a, b) == 0;
}

bool isUpperAscii(char c) { return c >= 'A' && c <= 'Z'; }

constexpr int64_t kMaxWorldFileBytes = 0x7FFFFFFF;

// The world file beside `fileSpec`: its own name, or with the suffix replaced.
QVStatus makeWorldFileSpec(const QVFileSpec& fileSpec, bool replaceSuffix, QVFileSpec& worldFile)
{
    worldFile = fileSpec;
    if (!replaceSuffix) return 0;
    char suffix[4];
    const QVStatus status = QVIGeoCoord::getWorldFileExtension(fileSpec, suffix);
    if (status == 0) worldFile = fileSpec.replaceSuffix(suffix);
    return status;
}

// Looks in the file's directory for the first entry whose name matches
// ignoring case, and takes it; false if there is none.
bool findIgnoringCase(QVFileSpec& file)
{
    namespace fs = std::filesystem;
    const fs::path path(file.getPath());
    const std::string name = path.filename().string();
    const fs::path directory = path.has_parent_path() ? path.parent_path() : fs::path(".");
    std::error_code error;
    for (fs::directory_iterator it(directory, error), end; !error && it != end; it.increment(error)) {
        if (strcasecmp(it->path().filename().c_str(), name.c_str()) == 0) {
            file = QVFileSpec((directory / it->path().filename()).string());
            return true;
        }
    }
    return false;
}

}  // namespace

QVIGeoCoord::QVIGeoCoord() : m_x(0.0), m_y(0.0), m_xRes(1.0), m_yRes(-1.0), m_xRot(0.0), m_yRot(0.0) {}

QVIGeoCoord::QVIGeoCoord(double x, double y, double xRes, double yRes, double xRot, double yRot,
                         const char* wkt)
    : m_x(x), m_y(y), m_xRes(xRes), m_yRes(yRes), m_xRot(xRot), m_yRot(yRot), m_wkt(copyText(wkt))
{
}

QVIGeoCoord::QVIGeoCoord(const QVIGeoCoord& other)
    : m_x(other.m_x),
      m_y(other.m_y),
      m_xRes(other.m_xRes),
      m_yRes(other.m_yRes),
      m_xRot(other.m_xRot),
      m_yRot(other.m_yRot),
      m_wkt(copyText(other.m_wkt.get()))
{
}

QVIGeoCoord& QVIGeoCoord::operator=(const QVIGeoCoord& other)
{
    if (this != &other) {
        m_wkt = copyText(other.m_wkt.get());
        set(other.m_x, other.m_y, other.m_xRes, other.m_yRes, other.m_xRot, other.m_yRot);
    }
    return *this;
}

QVIGeoCoord::~QVIGeoCoord() = default;

void QVIGeoCoord::get(double& x, double& y, double& xRes, double& yRes, double& xRot, double& yRot) const
{
    x = m_x;
    y = m_y;
    xRes = m_xRes;
    yRes = m_yRes;
    xRot = m_xRot;
    yRot = m_yRot;
}

void QVIGeoCoord::set(double x, double y, double xRes, double yRes, double xRot, double yRot)
{
    m_x = x;
    m_y = y;
    m_xRes = xRes;
    m_yRes = yRes;
    m_xRot = xRot;
    m_yRot = yRot;
}

void QVIGeoCoord::setWKT(const char* wkt) { m_wkt = copyText(wkt); }

QVStatus QVIGeoCoord::pixelToGeo(double col, double row, double mag, double& x, double& y) const
{
    x = m_x + (m_xRes * col + m_xRot * row) / mag;
    y = m_y + (m_yRot * col + m_yRes * row) / mag;
    return 0;
}

QVStatus QVIGeoCoord::geoToPixel(double x, double y, double mag, double& col, double& row) const
{
    const double determinant = m_xRes * m_yRes - m_yRot * m_xRot;
    if (determinant == 0.0) return QVI_STS_Failure;
    const double dx = x - m_x;
    const double dy = y - m_y;
    col = (m_yRes * dx - m_xRot * dy) * mag / determinant;
    row = (m_xRes * dy - m_yRot * dx) * mag / determinant;
    return 0;
}

QVIGeoCoord QVIGeoCoord::scaleGeoCoord(double sx, double sy) const
{
    // The new upper-left pixel centre lies half a new pixel inside the old
    // pixel's upper-left corner.
    double x = 0.0;
    double y = 0.0;
    pixelToGeo((1.0 / sx - 1.0) / 2.0, (1.0 / sy - 1.0) / 2.0, 1.0, x, y);
    return QVIGeoCoord(x, y, m_xRes / sx, m_yRes / sy, m_xRot / sy, m_yRot / sx, m_wkt.get());
}

QVIGeoCoord QVIGeoCoord::getGeoCoordForScene(const QVIScene& scene) const
{
    QVIGeoCoord scaled = scaleGeoCoord(scene.getMag(), scene.getMag());
    double x = 0.0;
    double y = 0.0;
    scaled.pixelToGeo(scene.getUpperLeftCol(), scene.getUpperLeftRow(), 1.0, x, y);
    scaled.setX(x);
    scaled.setY(y);
    return scaled;
}

bool QVIGeoCoord::hasRotation() const
{
    return m_xRot != 0.0 || m_yRot != 0.0 || m_xRes < 0.0 || m_yRes > 0.0;
}

bool QVIGeoCoord::operator==(const QVIGeoCoord& other) const
{
    return originsMatch(m_x, other.m_x) && originsMatch(m_y, other.m_y) &&
           factorsMatch(m_xRes, other.m_xRes) && factorsMatch(m_yRes, other.m_yRes) &&
           factorsMatch(m_xRot, other.m_xRot) && factorsMatch(m_yRot, other.m_yRot) &&
           textsMatch(m_wkt.get(), other.m_wkt.get());
}

QVStatus QVIGeoCoord::getWorldFileExtension(const QVFileSpec& fileSpec, char* suffix)
{
    if (!suffix) return QVI_STS_Core_WorldFileName;
    const std::string imageSuffix = fileSpec.getSuffix();
    if (imageSuffix.empty()) return QVI_STS_Core_WorldFileName;
    if (imageSuffix.size() == 1) {
        std::memcpy(suffix, "xxx", 4);
        return 0;
    }
    const char first = imageSuffix.front();
    const char last = imageSuffix.back();
    suffix[0] = first;
    suffix[1] = last;
    suffix[2] = isUpperAscii(first) && isUpperAscii(last) ? 'W' : 'w';
    suffix[3] = '\0';
    return 0;
}

QVStatus QVIGeoCoord::parseWorldFile(const char* text)
{
    double xRes = 0.0, yRot = 0.0, xRot = 0.0, yRes = 0.0, x = 0.0, y = 0.0;
    if (std::sscanf(text, "%lf %lf %lf %lf %lf %lf", &xRes, &yRot, &xRot, &yRes, &x, &y) != 6)
        return QVI_STS_Core_ReadError;
    set(x, y, xRes, yRes, xRot, yRot);
    return 0;
}

QVStatus QVIGeoCoord::readWorldFile(QVIOStreamInf& stream)
{
    QVStatus status = stream.seek(0, QVIO_SEEK_END);
    if (status != 0) return status;
    const int64_t length = stream.tell();
    if (length < 0 || length > kMaxWorldFileBytes) return QVI_STS_Core_ReadError;
    status = stream.seek(0, QVIO_SEEK_BEGIN);
    if (status != 0) return status;

    const uint32_t size = static_cast<uint32_t>(length);
    std::unique_ptr<char[]> text(new (std::nothrow) char[size + 1]);
    if (!text) return QVI_STS_OutOfMemory;
    if (stream.read(reinterpret_cast<uint8_t*>(text.get()), size) != size) {
        const QVStatus error = stream.getLastError();
        return error != 0 ? error : QVI_STS_Core_ReadError;
    }
    text[size] = '\0';
    return parseWorldFile(text.get());
}

QVStatus QVIGeoCoord::readWorldFile(const QVFileSpec& fileSpec, bool replaceSuffix, bool& found)
{
    found = false;
    QVFileSpec worldFile;
    const QVStatus status = makeWorldFileSpec(fileSpec, replaceSuffix, worldFile);
    if (status != 0) return status;
    if (!worldFile.exists() && !findIgnoringCase(worldFile)) return 0;
    found = true;
    QVIOFileStream stream;
    if (stream.initialize(worldFile, "rb") != 0 || stream.open() != 0) return QVI_STS_Core_ReadError;
    return readWorldFile(stream);
}

QVStatus QVIGeoCoord::writeWorldFile(const QVFileSpec& fileSpec, bool replaceSuffix) const
{
    QVFileSpec worldFile;
    const QVStatus status = makeWorldFileSpec(fileSpec, replaceSuffix, worldFile);
    if (status != 0) return status;
    QVIOFileStream stream;
    if (stream.initialize(worldFile, "w") != 0 || stream.open() != 0) return QVI_STS_Core_WriteError;
    bool written = true;
    for (double value : {m_xRes, m_yRot, m_xRot, m_yRes, m_x, m_y})
        written = written && QVIOStreamUtils::print(&stream, "%.15f\n", value) > 0;
    written = (stream.close() == 0) && written;
    return written ? 0 : QVI_STS_Core_WriteError;
}

// The metadata accessors and editors that carry a georeference in a database
// are not built yet; until they are, these two answer "not implemented" and
// leave the database and this object untouched.
QVStatus QVIGeoCoord::writeMetadata(QVIMetadataDatabase& database) const
{
    return QVIMetadataEditor(database).setGeoCoord(*this);
}

QVStatus QVIGeoCoord::readMetadata(const QVIMetadataDatabase& database, bool& found)
{
    const QVStatus status = QVIMetadataAcc(database).getGeoCoord(*this);
    found = status == 0;
    return status == QVI_STS_Metadata_TagNotFound ? 0 : status;
}

}  // namespace Orvanetics
