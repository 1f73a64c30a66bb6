#pragma once

#include "KSTDuplicateSnapshot.h"
#include "KSTSHA256Context.h"

#include <QString>

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

class KSTReadOnlyFile;

/// The digests a duplicate scan compares files by, all SHA-256:
///
/// - the content digest (contentDigestForRecord): the file size as 8 little-endian bytes,
///   then the whole file when it is at most PartialDigestThreshold bytes (a complete digest),
///   else its first and last SampleLength bytes (an incomplete one). The size prefix keeps
///   files of different sizes apart for good.
/// - the full digest (fullSHA256DigestForFileAtPath): the whole content, without prefix, for
///   large files whose content digests agree.
///
/// Besides them, a cheap sample fingerprint (sampleFingerprintForRecord) lets a scan drop most
/// files of a shared size before any digest: a 64-bit hash of the whole file up to
/// WholeSampleLimit bytes (one read, as cheap as two small ones), else of its first and last
/// SampleBlock bytes and, above PartialDigestThreshold, of MiddleSamples blocks spread evenly
/// between them, so large files that share their head and tail but differ inside are told
/// apart without reading them whole. Equal files always have equal fingerprints, so dropping
/// a file whose fingerprint no other file of its size shares never splits a group.
///
/// Files are opened through KSTReadOnlyFile (no link followed, no FIFO waited on, regular
/// files only); a record's file is reached as KSTNoFollowPath::hold() reaches it, and refused
/// when it is no longer what the walk recorded (KSTFileIdentity::matches()). Every failure
/// gives no digest. The forms taking an open file leave opening and checking to the caller
/// (the scan opens files below their held scan folder).
///
/// Thread-safe: the operations keep no state; a Scratch belongs to one thread at a time.
class KSTDuplicateDigest
{
public:
    KSTDuplicateDigest() = delete;

    /// Files above this size get an incomplete content digest first: 512 KiB.
    static constexpr quint64 PartialDigestThreshold = 524288;
    /// Head and tail samples of the incomplete digest: 64 KiB.
    static constexpr qint64 SampleLength = 65536;
    /// The largest single read while feeding a whole file: 4 MiB.
    static constexpr qint64 ReadChunk = 4194304;
    /// Each block a sample fingerprint reads: 4 KiB.
    static constexpr qint64 SampleBlock = 4096;
    /// Blocks a sample fingerprint reads between head and tail of a file above
    /// PartialDigestThreshold.
    static constexpr qint64 MiddleSamples = 8;
    /// The chunk in which fullDigestOfMatchingFiles() reads and compares files: 1 MiB.
    static constexpr qint64 CompareChunk = 1048576;
    /// Files up to this size are read whole for their sample fingerprint: 32 KiB.
    static constexpr qint64 WholeSampleLimit = 32768;

    /// A read buffer (grown on demand, never above ReadChunk) and a digest context that one
    /// hash worker reuses from file to file, so hashing a file allocates nothing.
    class Scratch
    {
    public:
        /// A buffer of at least @p length bytes (at most ReadChunk are ever asked for).
        char *buffer(qint64 length);
        /// A second one, for comparing two files chunk by chunk (at most CompareChunk).
        char *secondBuffer(qint64 length);
        KSTSHA256Context context;
        /// The bytes a content digest covers, as last read (see readContentBytes()).
        std::string content;
        /// The same for a file compared with the one in content.
        std::string compared;

    private:
        std::unique_ptr<char[]> m_buffer;
        qint64 m_capacity = 0;
        std::unique_ptr<char[]> m_second;
        qint64 m_secondCapacity = 0;
    };

    /// The content digest of @p record (see above); @p isComplete (may be null) tells whether
    /// the whole file went in. Nothing when the file cannot be opened or is no longer the one
    /// recorded, or when a read fails.
    static std::optional<KSTSHA256Digest>
    contentDigestForRecord(const KSTDuplicateFileRecord &record, bool *isComplete,
                           Scratch *scratch = nullptr);

    /// SHA-256 of the whole file at @p path, read up to @p fileSize bytes; nothing when it
    /// cannot be opened or a read fails.
    static std::optional<KSTSHA256Digest> fullSHA256DigestForFileAtPath(const QString &path,
                                                                        quint64 fileSize,
                                                                        Scratch *scratch = nullptr);
    /// The same for @p record, refusing a file that is no longer the one recorded.
    static std::optional<KSTSHA256Digest>
    fullSHA256DigestForRecord(const KSTDuplicateFileRecord &record, Scratch *scratch = nullptr);

    /// Feeds up to @p maxBytes of @p file from its current position into @p context, in reads
    /// of at most ReadChunk bytes. True at once for 0 bytes; false when a read brings nothing
    /// (or fails) before @p maxBytes were fed; true when the file ends early after some bytes
    /// (what was read counts).
    static bool updateSHA256Context(KSTSHA256Context &context, KSTReadOnlyFile &file,
                                    quint64 maxBytes, Scratch *scratch = nullptr);
    /// Finishes @p context; nothing when it failed.
    static std::optional<KSTSHA256Digest> sha256DigestFromContext(KSTSHA256Context &context);
    /// Lower-case hex, two digits per byte; empty for an empty digest.
    static QString hexStringFromDigest(std::span<const quint8> digest);

    /// The sample fingerprint of @p record's file (the whole file when it is at most two
    /// blocks); nothing when it cannot be read or is no longer the file recorded.
    static std::optional<quint64> sampleFingerprintForRecord(const KSTDuplicateFileRecord &record,
                                                             Scratch *scratch = nullptr);

    /// Opens the file of @p record (see above); false when it is missing, not a regular file,
    /// reached through a link, or not the file recorded (when the record has an identity).
    static bool openRecord(KSTReadOnlyFile &file, const KSTDuplicateFileRecord &record);

    /// contentDigestForRecord() of the open @p file of @p size bytes.
    static std::optional<KSTSHA256Digest> contentDigestOfFile(KSTReadOnlyFile &file, quint64 size,
                                                              bool *isComplete, Scratch &scratch);
    /// Reads the bytes the content digest of the open @p file of @p size bytes covers into
    /// @p out: the whole file up to PartialDigestThreshold, else its first and last
    /// SampleLength bytes. False when nothing was read.
    static bool readContentBytes(KSTReadOnlyFile &file, quint64 size, std::string &out);
    /// The content digest of a file of @p size bytes whose covered bytes are @p content
    /// (readContentBytes(), or the whole file when a fingerprint read it); equal to
    /// contentDigestOfFile() of that file.
    static std::optional<KSTSHA256Digest> contentDigestOfBytes(std::string_view content,
                                                               quint64 size, Scratch &scratch);
    /// A 64-bit hash of @p bytes, the one sample fingerprints use: equal bytes give equal
    /// values; it tells files apart cheaply, never proves them equal.
    static quint64 fingerprintOfBytes(std::string_view bytes);
    /// The full digest of the open @p first file of @p size bytes (above
    /// PartialDigestThreshold), read once while each of @p others (open files of the same
    /// size) is compared with it byte for byte. @p matches gets, per other file, whether it
    /// holds exactly the same bytes (and so the same digest). Each file's first and last
    /// SampleLength bytes are compared before anything else, so a file is read whole only when
    /// its head and tail match; @p first is read on only while some other file still matches,
    /// or to the end when @p digestAlone. Nothing (and no match) when @p first cannot be read
    /// whole, or when nothing matched and not @p digestAlone.
    static std::optional<KSTSHA256Digest>
    fullDigestOfMatchingFiles(KSTReadOnlyFile &first, std::span<KSTReadOnlyFile *const> others,
                              quint64 size, bool digestAlone, Scratch &scratch,
                              std::vector<bool> &matches);
    /// The full digest of the open @p file, read up to @p size bytes.
    static std::optional<KSTSHA256Digest> fullDigestOfFile(KSTReadOnlyFile &file, quint64 size,
                                                           Scratch &scratch);
    /// The sample fingerprint of the open @p file of @p size bytes. When the whole file is
    /// read (up to WholeSampleLimit) and @p wholeContent is given, it is set to those bytes, so
    /// a later stage need not read them again: they are read into @p destination when given
    /// (at least @p size bytes, owned by the caller), else into @p scratch (valid until it is
    /// used again).
    static std::optional<quint64> sampleFingerprintOfFile(KSTReadOnlyFile &file, quint64 size,
                                                          Scratch &scratch,
                                                          std::string_view *wholeContent = nullptr,
                                                          char *destination = nullptr);
};
