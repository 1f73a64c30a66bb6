#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <optional>

/// What an executable's code signature says about who signed it, read from the Mach-O bytes
/// only (never trusting them): where the signature lies, and whether it is ad hoc. Pure
/// functions of their bytes; every offset and count is checked against what was read, so a
/// crafted file cannot make them read out of bounds. Thread-safe.
namespace KSTCodeSignature {

/// How much of a Mach-O's start is read to find its load commands.
inline constexpr qint64 HeaderBytes = 64 * 1024;
/// How much of a signature is read: the super-blob's index and the code directory's header.
inline constexpr qint64 SignatureBytes = 4096;

/// Where a signature lies in the file.
struct Location
{
    qint64 offset = 0;
    qint64 size = 0;
};

/// For a universal file, the offset of its first slice; nothing for a thin Mach-O (or
/// anything else).
std::optional<qint64> firstSliceOffset(const QByteArray &header);
/// The LC_CODE_SIGNATURE data of a thin 32- or 64-bit Mach-O whose first bytes are @p header,
/// the slice starting at @p sliceOffset in the file; nothing when it has none.
std::optional<Location> signatureLocation(const QByteArray &header, qint64 sliceOffset = 0);

enum class Kind { Unsigned, AdHoc, Signed };
/// The kind of the signature blob @p signature (its first bytes): a super-blob whose code
/// directory is flagged ad hoc (or linker-signed) is AdHoc; one with a code directory and no
/// such flag is Signed; anything else Unsigned.
Kind kindOfSignature(const QByteArray &signature);

} // namespace KSTCodeSignature
