// The flat collection of metadata records that every image stage owns.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "qvi_metadataRecord.h"

namespace Orvanetics {

// Records keyed by unique strings, in insertion order until sort() is called.
// Records handed out stay owned by the database and are valid until removed.
// No lock: filled during a stage's initialisation, then only read.
class QVIMetadataDatabase {
public:
    QVIMetadataDatabase();
    QVIMetadataDatabase(const QVIMetadataDatabase& other);
    QVIMetadataDatabase& operator=(const QVIMetadataDatabase& other);
    virtual ~QVIMetadataDatabase();

    // Adds a copy of the record; 50504 if its key is present, 8 out of memory.
    QVStatus add(const QVIMetadataRecord& record);
    // All records of `other`, or none of them (50504) if any key clashes.
    QVStatus add(const QVIMetadataDatabase& other);

    bool has(const char* key) const;
    bool has(QVIMetadataTag tag) const;

    // `record` is cleared first; 50503 when the key is absent.
    QVStatus get(const char* key, const QVIMetadataRecord*& record) const;
    QVStatus get(QVIMetadataTag tag, const QVIMetadataRecord*& record) const;

    // 50503 when the key is absent; later records keep their order.
    QVStatus remove(const char* key);
    QVStatus remove(QVIMetadataTag tag);
    QVStatus removeAll();

    uint32_t getIndexCount() const;
    // `record` is cleared first; 50503 for an index at or above the count.
    QVStatus getDataByIndex(uint32_t index, const QVIMetadataRecord*& record) const;

    size_t getApproximateSize() const;

    // Orders the records by key, byte-wise ascending.
    QVStatus sort();

private:
    std::vector<std::unique_ptr<QVIMetadataRecord>>::const_iterator find(const char* key) const;

    std::vector<std::unique_ptr<QVIMetadataRecord>> m_records;
};

// Something that writes a database out in some form.
class QVIMetadataWriter {
public:
    explicit QVIMetadataWriter(const QVIMetadataDatabase& database) : m_database(database) {}
    virtual ~QVIMetadataWriter() = default;
    virtual QVStatus write() const = 0;

protected:
    const QVIMetadataDatabase& m_database;
};

// Something that fills a database from some source.
class QVIMetadataReader {
public:
    explicit QVIMetadataReader(QVIMetadataDatabase& database) : m_database(database) {}
    virtual ~QVIMetadataReader() = default;
    virtual QVStatus read() = 0;

protected:
    QVIMetadataDatabase& m_database;
};

}  // namespace Orvanetics
