// A file's path as the application gave it (UTF-8), with the few conversions
// that file streams and side-car files (world files, headers) need.
#pragma once

#include <string>

namespace Orvanetics {

class QVFileSpec {
public:
    QVFileSpec() = default;
    QVFileSpec(const char* path) : m_path(path ? path : "") {}
    QVFileSpec(std::string path) : m_path(std::move(path)) {}

    bool isEmpty() const { return m_path.empty(); }
    const std::string& getPath() const { return m_path; }
    // The path in the form the operating system's file calls expect.
    const char* getNativePath() const { return m_path.c_str(); }
    const char* getUTF8() const { return m_path.c_str(); }
    bool isAbsolute() const { return !m_path.empty() && m_path[0] == '/'; }
    // The absolute path with normalised slashes; a relative path stands as it is.
    std::string getNormalizedPath() const;

    // The suffix after the last dot of the file name, without the dot ("" if none).
    std::string getSuffix() const;
    // Replaces (or adds) the suffix; newSuffix is given without the dot.
    QVFileSpec replaceSuffix(const std::string& newSuffix) const;
    bool exists() const;

    bool operator==(const QVFileSpec& other) const { return m_path == other.m_path; }

private:
    std::string m_path;
};

}  // namespace Orvanetics
