#include "qvi_metadataDatabase.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace Orvanetics {

QVIMetadataDatabase::QVIMetadataDatabase() = default;

QVIMetadataDatabase::QVIMetadataDatabase(const QVIMetadataDatabase& other) {
    m_records.reserve(other.m_records.size());
    for (const auto& record : other.m_records) {
        m_records.push_back(std::make_unique<QVIMetadataRecord>(*record));
    }
}

QVIMetadataDatabase& QVIMetadataDatabase::operator=(const QVIMetadataDatabase& other) {
    if (this != &other) {
        QVIMetadataDatabase copy(other);
        m_records.swap(copy.m_records);
    }
    return *this;
}

QVIMetadataDatabase::~QVIMetadataDatabase() {
    removeAll();
}

std::vector<std::unique_ptr<QVIMetadataRecord>>::const_iterator QVIMetadataDatabase::find(
    const char* key) const {
    if (key == nullptr) return m_records.end();
    return std::find_if(m_records.begin(), m_records.end(), [key](const auto& record) {
        return std::strcmp(record->getTagName(), key) == 0;
    });
}

QVStatus QVIMetadataDatabase::add(const QVIMetadataRecord& record) {
    if (has(record.getTagName())) return qviMetadataFailure(QVI_STS_Metadata_DuplicateTag);
    try {
        m_records.push_back(std::make_unique<QVIMetadataRecord>(record));
    } catch (const std::bad_alloc&) {
        return qviMetadataFailure(QVI_STS_OutOfMemory);
    } catch (const QVUtilException& exception) {
        return qviMetadataFailure(exception.getStatus());
    }
    return 0;
}

QVStatus QVIMetadataDatabase::add(const QVIMetadataDatabase& other) {
    // Check every key first so that a clash leaves this database untouched.
    for (const auto& record : other.m_records) {
        if (!record) return qviMetadataFailure(QVI_STS_Metadata_InternalError);
        if (has(record->getTagName())) return qviMetadataFailure(QVI_STS_Metadata_DuplicateTag);
    }
    for (const auto& record : other.m_records) {
        const QVStatus status = add(*record);
        if (status != 0) return status;
    }
    return 0;
}

bool QVIMetadataDatabase::has(const char* key) const {
    return find(key) != m_records.end();
}

bool QVIMetadataDatabase::has(QVIMetadataTag tag) const {
    return has(QVIMetadataUtils::lookupName(tag));
}

QVStatus QVIMetadataDatabase::get(const char* key, const QVIMetadataRecord*& record) const {
    record = nullptr;
    const auto found = find(key);
    if (found == m_records.end()) return qviMetadataFailure(QVI_STS_Metadata_TagNotFound);
    record = found->get();
    return 0;
}

QVStatus QVIMetadataDatabase::get(QVIMetadataTag tag, const QVIMetadataRecord*& record) const {
    return get(QVIMetadataUtils::lookupName(tag), record);
}

QVStatus QVIMetadataDatabase::remove(const char* key) {
    const auto found = find(key);
    if (found == m_records.end()) return qviMetadataFailure(QVI_STS_Metadata_TagNotFound);
    m_records.erase(found);
    return 0;
}

QVStatus QVIMetadataDatabase::remove(QVIMetadataTag tag) {
    return remove(QVIMetadataUtils::lookupName(tag));
}

QVStatus QVIMetadataDatabase::removeAll() {
    while (!m_records.empty()) m_records.pop_back();
    return 0;
}

uint32_t QVIMetadataDatabase::getIndexCount() const {
    return static_cast<uint32_t>(m_records.size());
}

QVStatus QVIMetadataDatabase::getDataByIndex(uint32_t index, const QVIMetadataRecord*& record) const {
    record = nullptr;
    if (index >= m_records.size()) return qviMetadataFailure(QVI_STS_Metadata_TagNotFound);
    record = m_records[index].get();
    return 0;
}

size_t QVIMetadataDatabase::getApproximateSize() const {
    size_t size = 0;
    for (const auto& record : m_records) size += record->getApproximateSize();
    return size;
}

QVStatus QVIMetadataDatabase::sort() {
    std::sort(m_records.begin(), m_records.end(), [](const auto& a, const auto& b) {
        return std::strcmp(a->getTagName(), b->getTagName()) < 0;
    });
    return 0;
}

}  // namespace Orvanetics
