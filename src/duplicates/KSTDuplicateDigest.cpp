#include "KSTDuplicateDigest.h"

#include "KSTReadOnlyFile.h"

#include <QFile>
#include <QtEndian>

#include <algorithm>
#include <functional>
#include <string_view>
#include <vector>

namespace {

using Scratch = KSTDuplicateDigest::Scratch;

// Opens the file of @p record, refusing one that another file has replaced since the walk.
bool openRecord(KSTReadOnlyFile &file, const KSTDuplicateFileRecord &record)
{
    if (!file.open(record.path))
        return false;
    if (record.inode != 0 &&
        (file.status().inode != record.inode || file.status().device != record.device)) {
        file.close();
        return false;
    }
    return true;
}

// A caller without a worker's scratch gets one for this call.
template <typename Work> auto withScratch(Scratch *scratch, Work &&work)
{
    if (scratch)
        return work(*scratch);
    Scratch local;
    return work(local);
}

std::optional<KSTSHA256Digest> wholeFileDigest(KSTReadOnlyFile &file, quint64 fileSize,
                                               Scratch &scratch)
{
    KSTSHA256Context &context = scratch.context;
    context.reset();
    if (!KSTDuplicateDigest::updateSHA256Context(context, file, fileSize, &scratch))
        return std::nullopt;
    return KSTDuplicateDigest::sha256DigestFromContext(context);
}

} // namespace

char *KSTDuplicateDigest::Scratch::buffer(qint64 length)
{
    if (length > m_capacity) {
        m_buffer.reset(new char[static_cast<size_t>(length)]);
        m_capacity = length;
    }
    return m_buffer.get();
}

std::optional<KSTSHA256Digest>
KSTDuplicateDigest::contentDigestForRecord(const KSTDuplicateFileRecord &record, bool *isComplete,
                                           Scratch *scratch)
{
    return withScratch(scratch, [&](Scratch &work) -> std::optional<KSTSHA256Digest> {
        KSTReadOnlyFile file;
        if (!openRecord(file, record))
            return std::nullopt;
        KSTSHA256Context &context = work.context;
        context.reset();
        quint8 sizePrefix[8];
        qToLittleEndian<quint64>(record.bytes, sizePrefix);
        context.update(sizePrefix, sizeof sizePrefix);

        const bool complete = record.bytes <= PartialDigestThreshold;
        if (complete) {
            if (!updateSHA256Context(context, file, record.bytes, &work))
                return std::nullopt;
        } else {
            char *buffer = work.buffer(SampleLength);
            const qint64 head = file.read(buffer, SampleLength);
            if (head <= 0)
                return std::nullopt;
            context.update(buffer, static_cast<size_t>(head));
            // Above the threshold the size always exceeds two samples: head and tail never
            // overlap.
            const qint64 tail =
                file.readAt(static_cast<qint64>(record.bytes) - SampleLength, buffer, SampleLength);
            if (tail > 0)
                context.update(buffer, static_cast<size_t>(tail));
        }
        if (isComplete)
            *isComplete = complete;
        return sha256DigestFromContext(context);
    });
}

std::optional<KSTSHA256Digest>
KSTDuplicateDigest::fullSHA256DigestForFileAtPath(const QString &path, quint64 fileSize,
                                                  Scratch *scratch)
{
    return withScratch(scratch, [&](Scratch &work) -> std::optional<KSTSHA256Digest> {
        KSTReadOnlyFile file;
        if (!file.open(path))
            return std::nullopt;
        return wholeFileDigest(file, fileSize, work);
    });
}

std::optional<KSTSHA256Digest>
KSTDuplicateDigest::fullSHA256DigestForRecord(const KSTDuplicateFileRecord &record,
                                              Scratch *scratch)
{
    return withScratch(scratch, [&](Scratch &work) -> std::optional<KSTSHA256Digest> {
        KSTReadOnlyFile file;
        if (!openRecord(file, record))
            return std::nullopt;
        return wholeFileDigest(file, record.bytes, work);
    });
}

bool KSTDuplicateDigest::updateSHA256Context(KSTSHA256Context &context, KSTReadOnlyFile &file,
                                             quint64 maxBytes, Scratch *scratch)
{
    if (maxBytes == 0)
        return true;
    return withScratch(scratch, [&](Scratch &work) {
        quint64 remaining = maxBytes;
        while (remaining > 0) {
            const qint64 asked = static_cast<qint64>(std::min<quint64>(remaining, ReadChunk));
            char *buffer = work.buffer(asked);
            const qint64 read = file.read(buffer, asked);
            if (read <= 0)
                return false;
            if (!context.update(buffer, static_cast<size_t>(read)))
                return false;
            if (read < asked)
                return true; // the file became shorter; what was read counts
            remaining -= static_cast<quint64>(read);
        }
        return true;
    });
}

std::optional<KSTSHA256Digest>
KSTDuplicateDigest::sha256DigestFromContext(KSTSHA256Context &context)
{
    return context.finish();
}

QString KSTDuplicateDigest::hexStringFromDigest(std::span<const quint8> digest)
{
    static constexpr char Digits[] = "0123456789abcdef";
    QString hex(static_cast<qsizetype>(digest.size() * 2), Qt::Uninitialized);
    QChar *out = hex.data();
    for (const quint8 byte : digest) {
        *out++ = QLatin1Char(Digits[byte >> 4]);
        *out++ = QLatin1Char(Digits[byte & 0x0f]);
    }
    return hex;
}

std::optional<quint64>
KSTDuplicateDigest::sampleFingerprintForRecord(const KSTDuplicateFileRecord &record,
                                               Scratch *scratch)
{
    return sampleFingerprintOfFile(QFile::encodeName(record.path).constData(), record.bytes,
                                   record.device, record.inode, scratch);
}

std::optional<quint64> KSTDuplicateDigest::sampleFingerprintOfFile(const char *encodedPath,
                                                                   quint64 size, quint64 device,
                                                                   quint64 inode, Scratch *scratch)
{
    return withScratch(scratch, [&](Scratch &work) -> std::optional<quint64> {
        KSTReadOnlyFile file;
        if (!file.open(encodedPath))
            return std::nullopt;
        if (inode != 0 && (file.status().inode != inode || file.status().device != device))
            return std::nullopt;
        const auto length = static_cast<qint64>(size);
        const qint64 middles = size > PartialDigestThreshold ? MiddleSamples : 0;
        char *buffer = work.buffer((2 + MiddleSamples) * SampleBlock);
        qint64 read = 0;
        if (length <= 2 * SampleBlock) {
            read = file.read(buffer, length);
        } else {
            // Head, the middle blocks in order, tail; a short read ends the sampling (the file
            // changed) and what was read counts.
            std::vector<qint64> offsets = {0};
            for (qint64 sample = 1; sample <= middles; ++sample)
                offsets.push_back(length / (middles + 1) * sample / SampleBlock * SampleBlock);
            offsets.push_back(length - SampleBlock);
            for (const qint64 offset : offsets) {
                const qint64 got = file.readAt(offset, buffer + read, SampleBlock);
                if (got > 0)
                    read += got;
                if (got != SampleBlock)
                    break;
            }
        }
        if (read <= 0)
            return std::nullopt;
        return std::hash<std::string_view>{}(std::string_view(buffer, static_cast<size_t>(read)));
    });
}
