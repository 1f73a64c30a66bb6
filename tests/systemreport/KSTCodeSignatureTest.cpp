// Code signatures read from Mach-O bytes built here: thin and universal files, ad hoc,
// linker-signed and developer-signed directories, and crafted offsets and counts.
#include "KSTCodeSignature.h"

#include <QtEndian>

#include <gtest/gtest.h>

namespace {

namespace Signature = KSTCodeSignature;

void putLittle(QByteArray &bytes, qsizetype at, quint32 value)
{
    if (bytes.size() < at + 4)
        bytes.resize(at + 4, '\0');
    qToLittleEndian(value, bytes.data() + at);
}

void putBig(QByteArray &bytes, qsizetype at, quint32 value)
{
    if (bytes.size() < at + 4)
        bytes.resize(at + 4, '\0');
    qToBigEndian(value, bytes.data() + at);
}

// A super-blob holding one code directory with @p flags.
QByteArray signatureBlob(quint32 flags, quint32 directoryMagic = 0xFADE0C02)
{
    QByteArray blob;
    putBig(blob, 0, 0xFADE0CC0);
    putBig(blob, 4, 48);
    putBig(blob, 8, 1);
    putBig(blob, 12, 0);  // slot: the code directory
    putBig(blob, 16, 20); // at 20
    putBig(blob, 20, directoryMagic);
    putBig(blob, 24, 28);
    putBig(blob, 28, 0x20400);
    putBig(blob, 32, flags);
    return blob;
}

// A thin 64-bit Mach-O with a code-signature command pointing at @p signature (none when
// empty).
QByteArray thinMachO(const QByteArray &signature)
{
    QByteArray bytes;
    putLittle(bytes, 0, 0xFEEDFACF);
    putLittle(bytes, 4, 0x0100000C);
    putLittle(bytes, 12, 2);
    putLittle(bytes, 16, signature.isEmpty() ? 0 : 1);
    putLittle(bytes, 20, signature.isEmpty() ? 0 : 16);
    if (!signature.isEmpty()) {
        putLittle(bytes, 32, 0x1D);
        putLittle(bytes, 36, 16);
        putLittle(bytes, 40, 64);
        putLittle(bytes, 44, quint32(signature.size()));
        bytes.resize(64, '\0');
        bytes += signature;
    }
    return bytes;
}

Signature::Kind kindOf(const QByteArray &file)
{
    qint64 slice = 0;
    QByteArray header = file.left(Signature::HeaderBytes);
    if (const auto first = Signature::firstSliceOffset(header)) {
        slice = *first;
        header = file.mid(slice, Signature::HeaderBytes);
    }
    const auto location = Signature::signatureLocation(header, slice);
    if (!location)
        return Signature::Kind::Unsigned;
    return Signature::kindOfSignature(file.mid(location->offset, location->size));
}

} // namespace

TEST(CodeSignatureTest, KindsOfThinAndUniversalFiles)
{
    const struct
    {
        const char *what;
        QByteArray file;
        Signature::Kind kind;
    } cases[] = {
        {"no signature", thinMachO({}), Signature::Kind::Unsigned},
        {"developer", thinMachO(signatureBlob(0)), Signature::Kind::Signed},
        {"hardened runtime", thinMachO(signatureBlob(0x10000)), Signature::Kind::Signed},
        {"ad hoc", thinMachO(signatureBlob(0x2)), Signature::Kind::AdHoc},
        {"linker-signed", thinMachO(signatureBlob(0x20002)), Signature::Kind::AdHoc},
        {"not a code directory", thinMachO(signatureBlob(0, 0x12345678)),
         Signature::Kind::Unsigned},
        {"a script", QByteArray("#!/bin/sh\necho hi\n"), Signature::Kind::Unsigned},
        {"nothing", QByteArray(), Signature::Kind::Unsigned},
    };
    for (const auto &c : cases)
        EXPECT_EQ(kindOf(c.file), c.kind) << c.what;

    QByteArray universal;
    putBig(universal, 0, 0xCAFEBABE);
    putBig(universal, 4, 1);
    putBig(universal, 8, 0x0100000C);
    putBig(universal, 16, 4096);
    universal.resize(4096, '\0');
    universal += thinMachO(signatureBlob(0));
    EXPECT_EQ(Signature::firstSliceOffset(universal), std::optional<qint64>(4096));
    EXPECT_EQ(kindOf(universal), Signature::Kind::Signed);
}

TEST(CodeSignatureTest, CraftedOffsetsAndCountsStayInBounds)
{
    QByteArray lying = thinMachO(signatureBlob(0));
    putLittle(lying, 16, 0xFFFFFFFF); // commands beyond the bytes
    putLittle(lying, 20, 0xFFFFFFFF);
    EXPECT_EQ(kindOf(lying), Signature::Kind::Signed); // the one real command is still found

    QByteArray zeroSized = thinMachO(signatureBlob(0));
    putLittle(zeroSized, 36, 0); // a command of size 0 would loop for ever
    EXPECT_EQ(Signature::signatureLocation(zeroSized), std::nullopt);

    QByteArray blob = signatureBlob(0);
    putBig(blob, 8, 0xFFFFFFFF);  // a count far beyond the blob
    putBig(blob, 16, 0x7FFFFFF0); // and a directory far outside it
    EXPECT_EQ(Signature::kindOfSignature(blob), Signature::Kind::Unsigned);
    EXPECT_EQ(Signature::kindOfSignature(blob.left(10)), Signature::Kind::Unsigned);
}
