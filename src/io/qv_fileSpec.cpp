#include "qv_fileSpec.h"

#include <sys/stat.h>

namespace Orvanetics {

namespace {
size_t suffixDot(const std::string& path) {
    size_t slash = path.find_last_of('/');
    size_t dot = path.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return std::string::npos;
    return dot;
}
}  // namespace

std::string QVFileSpec::getNormalizedPath() const {
    if (!isAbsolute()) return m_path;
    std::string out;
    out.reserve(m_path.size());
    for (char c : m_path) {
        if (c == '\\') c = '/';
        if (c == '/' && !out.empty() && out.back() == '/') continue;
        out.push_back(c);
    }
    return out;
}

std::string QVFileSpec::getSuffix() const {
    size_t dot = suffixDot(m_path);
    return dot == std::string::npos ? std::string() : m_path.substr(dot + 1);
}

QVFileSpec QVFileSpec::replaceSuffix(const std::string& newSuffix) const {
    size_t dot = suffixDot(m_path);
    std::string base = dot == std::string::npos ? m_path : m_path.substr(0, dot);
    return QVFileSpec(base + "." + newSuffix);
}

bool QVFileSpec::exists() const {
    struct stat st;
    return !m_path.empty() && ::stat(m_path.c_str(), &st) == 0;
}

}  // namespace Orvanetics
