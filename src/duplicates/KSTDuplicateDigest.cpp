#include "KSTDuplicateDigest.h"

#include "KSTDuplicatesLog.h"
#include "KSTNoFollowPath.h"
#include "KSTReadOnlyFile.h"

#include <QHash>
#include <QtEndian>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

namespace {

using Scratch = KSTDuplicateDigest::Scratch;

// A caller without a worker's scratch gets one for this call.
template <typename Work> auto withScratch(Scratch *scratch, Work &&work)
{
    if (scratch)
        return work(*scratch);
    Scratch local;
    return work(local);
}

// Opens @p path as KSTNoFollowPath::hold() reaches it: its folder without a link on the way
// below the home or root, the file itself never through a link.
bool openPath(KSTReadOnlyFile &file, const QString &path)
{
    const std::optional<KSTHeldEntry> entry = KSTNoFollowPath::hold(path);
    return entry && file.openBeneath(entry->parentFd(), entry->name().constData());
}

void feedSizePrefix(KSTSHA256Context &context, quint64 size)
{
    quint8 prefix[8];
    qToLittleEndian<quint64>(size, prefix);
    context.update(prefix, sizeof prefix);
}

// Qt's byte hash runs on the AES instructions where the processor has them, several times
// faster than std::hash; a fingerprint only has to agree with itself within one scan, so any
// fixed seed does (a non-zero one selects that fast path).
constexpr std::size_t FingerprintSeed = 0x9e3779b97f4a7c15u;

quint64 fingerprintOf(const char *data, qint64 length)
{
    return qHashBits(data, std::size_t(length), FingerprintSeed);
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

char *KSTDuplicateDigest::Scratch::secondBuffer(qint64 length)
{
    if (length > m_secondCapacity) {
        m_second.reset(new char[static_cast<size_t>(length)]);
        m_secondCapacity = length;
    }
    return m_second.get();
}

bool KSTDuplicateDigest::openRecord(KSTReadOnlyFile &file, const KSTDuplicateFileRecord &record)
{
    if (record.path.isEmpty() || !openPath(file, record.path))
        return false;
    if (record.identity.inode != 0 && !record.identity.matches(file.identity())) {
        qCInfo(lcDuplicates) << "skipped, changed since it was listed:" << record.path;
        file.close();
        return false;
    }
    return true;
}

std::optional<KSTSHA256Digest>
KSTDuplicateDigest::contentDigestForRecord(const KSTDuplicateFileRecord &record, bool *isComplete,
                                           Scratch *scratch)
{
    return withScratch(scratch, [&](Scratch &work) -> std::optional<KSTSHA256Digest> {
        KSTReadOnlyFile file;
        if (!openRecord(file, record))
            return std::nullopt;
        return contentDigestOfFile(file, record.bytes, isComplete, work);
    });
}

std::optional<KSTSHA256Digest> KSTDuplicateDigest::contentDigestOfFile(KSTReadOnlyFile &file,
                                                                       quint64 size,
                                                                       bool *isComplete,
                                                                       Scratch &scratch)
{
    KSTSHA256Context &context = scratch.context;
    context.reset();
    feedSizePrefix(context, size);
    const bool complete = size <= PartialDigestThreshold;
    if (complete) {
        if (!updateSHA256Context(context, file, size, &scratch))
            return std::nullopt;
    } else {
        char *buffer = scratch.buffer(SampleLength);
        const qint64 head = file.readAt(0, buffer, SampleLength);
        if (head <= 0)
            return std::nullopt;
        context.update(buffer, static_cast<size_t>(head));
        // Above the threshold the size always exceeds two samples: head and tail never
        // overlap.
        const qint64 tail =
            file.readAt(static_cast<qint64>(size) - SampleLength, buffer, SampleLength);
        if (tail > 0)
            context.update(buffer, static_cast<size_t>(tail));
    }
    if (isComplete)
        *isComplete = complete;
    return sha256DigestFromContext(context);
}

bool KSTDuplicateDigest::readContentBytes(KSTReadOnlyFile &file, quint64 size, std::string &out)
{
    const bool whole = size <= PartialDigestThreshold;
    const auto wanted = static_cast<qint64>(whole ? size : quint64(2 * SampleLength));
    out.resize(static_cast<size_t>(wanted));
    if (whole) {
        // A file that became shorter counts with what was read, as the whole-file feed says.
        const qint64 read = file.readAt(0, out.data(), wanted);
        out.resize(static_cast<size_t>(std::max<qint64>(read, 0)));
        return read > 0;
    }
    const qint64 head = file.readAt(0, out.data(), SampleLength);
    if (head <= 0) {
        out.clear();
        return false;
    }
    const qint64 tail =
        file.readAt(static_cast<qint64>(size) - SampleLength, out.data() + head, SampleLength);
    out.resize(static_cast<size_t>(head + std::max<qint64>(tail, 0)));
    return true;
}

std::optional<KSTSHA256Digest>
KSTDuplicateDigest::contentDigestOfBytes(std::string_view content, quint64 size, Scratch &scratch)
{
    if (content.empty())
        return std::nullopt;
    KSTSHA256Context &context = scratch.context;
    context.reset();
    feedSizePrefix(context, size);
    context.update(content.data(), content.size());
    return sha256DigestFromContext(context);
}

quint64 KSTDuplicateDigest::fingerprintOfBytes(std::string_view bytes)
{
    return fingerprintOf(bytes.data(), qint64(bytes.size()));
}

std::optional<KSTSHA256Digest> KSTDuplicateDigest::fullDigestOfMatchingFiles(
    KSTReadOnlyFile &first, std::span<KSTReadOnlyFile *const> others, quint64 size,
    bool digestAlone, Scratch &scratch, std::vector<bool> &matches)
{
    matches.assign(others.size(), false);
    if (size <= PartialDigestThreshold)
        return std::nullopt;
    const auto length = static_cast<qint64>(size);
    // The first file's head and tail, kept until the tail goes into the digest last.
    std::string &edges = scratch.content;
    edges.resize(static_cast<size_t>(2 * SampleLength));
    if (first.readAt(0, edges.data(), SampleLength) != SampleLength ||
        first.readAt(length - SampleLength, edges.data() + SampleLength, SampleLength) !=
            SampleLength)
        return std::nullopt;
    char *other = scratch.secondBuffer(std::max<qint64>(CompareChunk, 2 * SampleLength));
    std::size_t matching = 0;
    for (std::size_t index = 0; index < others.size(); ++index) {
        KSTReadOnlyFile &file = *others[index];
        if (file.readAt(0, other, SampleLength) == SampleLength &&
            file.readAt(length - SampleLength, other + SampleLength, SampleLength) ==
                SampleLength &&
            std::memcmp(other, edges.data(), static_cast<size_t>(2 * SampleLength)) == 0) {
            matches[index] = true;
            ++matching;
        }
    }
    if (matching == 0 && !digestAlone)
        return std::nullopt;

    KSTSHA256Context &context = scratch.context;
    context.reset();
    context.update(edges.data(), static_cast<size_t>(SampleLength));
    char *chunk = scratch.buffer(CompareChunk);
    for (qint64 offset = SampleLength; offset < length - SampleLength;) {
        const qint64 asked = std::min<qint64>(CompareChunk, length - SampleLength - offset);
        if (first.readAt(offset, chunk, asked) != asked) {
            matches.assign(others.size(), false);
            return std::nullopt;
        }
        context.update(chunk, static_cast<size_t>(asked));
        for (std::size_t index = 0; index < others.size(); ++index) {
            if (matches[index] && (others[index]->readAt(offset, other, asked) != asked ||
                                   std::memcmp(other, chunk, static_cast<size_t>(asked)) != 0)) {
                matches[index] = false;
                --matching;
            }
        }
        if (matching == 0 && !digestAlone)
            return std::nullopt;
        offset += asked;
    }
    context.update(edges.data() + SampleLength, static_cast<size_t>(SampleLength));
    return sha256DigestFromContext(context);
}

std::optional<KSTSHA256Digest>
KSTDuplicateDigest::fullSHA256DigestForFileAtPath(const QString &path, quint64 fileSize,
                                                  Scratch *scratch)
{
    return withScratch(scratch, [&](Scratch &work) -> std::optional<KSTSHA256Digest> {
        KSTReadOnlyFile file;
        if (!openPath(file, path))
            return std::nullopt;
        return fullDigestOfFile(file, fileSize, work);
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
        return fullDigestOfFile(file, record.bytes, work);
    });
}

std::optional<KSTSHA256Digest> KSTDuplicateDigest::fullDigestOfFile(KSTReadOnlyFile &file,
                                                                    quint64 size, Scratch &scratch)
{
    KSTSHA256Context &context = scratch.context;
    context.reset();
    if (!updateSHA256Context(context, file, size, &scratch))
        return std::nullopt;
    return sha256DigestFromContext(context);
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
    return withScratch(scratch, [&](Scratch &work) -> std::optional<quint64> {
        KSTReadOnlyFile file;
        if (!openRecord(file, record))
            return std::nullopt;
        return sampleFingerprintOfFile(file, record.bytes, work);
    });
}

std::optional<quint64> KSTDuplicateDigest::sampleFingerprintOfFile(KSTReadOnlyFile &file,
                                                                   quint64 size, Scratch &scratch,
                                                                   std::string_view *wholeContent,
                                                                   char *destination)
{
    const auto length = static_cast<qint64>(size);
    char *buffer =
        length <= WholeSampleLimit && destination
            ? destination
            : scratch.buffer(std::max<qint64>((2 + MiddleSamples) * SampleBlock, WholeSampleLimit));
    qint64 read = 0;
    if (length <= WholeSampleLimit) {
        read = file.readAt(0, buffer, length);
        if (wholeContent && read == length)
            *wholeContent = std::string_view(buffer, static_cast<size_t>(read));
    } else {
        // Head, the middle blocks in order, tail; a short read ends the sampling (the file
        // changed) and what was read counts.
        std::array<qint64, 2 + MiddleSamples> offsets{};
        std::size_t count = 0;
        offsets[count++] = 0;
        if (size > PartialDigestThreshold) {
            for (qint64 sample = 1; sample <= MiddleSamples; ++sample)
                offsets[count++] =
                    length / (MiddleSamples + 1) * sample / SampleBlock * SampleBlock;
        }
        offsets[count++] = length - SampleBlock;
        for (std::size_t index = 0; index < count; ++index) {
            const qint64 got = file.readAt(offsets[index], buffer + read, SampleBlock);
            if (got > 0)
                read += got;
            if (got != SampleBlock)
                break;
        }
    }
    if (read <= 0)
        return std::nullopt;
    return fingerprintOf(buffer, read);
}
