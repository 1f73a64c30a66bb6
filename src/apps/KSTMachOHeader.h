#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

/// The processor architectures an executable was built for, read from the first bytes of a
/// Mach-O file: a universal ("fat") header and its 20-byte slice entries, or a thin 32- or
/// 64-bit header, in either byte order. Only header bytes are ever needed: callers read the
/// first HeaderBytes of the executable, never the whole file.
///
/// Pure functions of the bytes; thread-safe.
class KSTMachOHeader
{
public:
    KSTMachOHeader() = delete;

    /// How much of an executable the label needs: a universal header with up to 204 slices.
    static constexpr qint64 HeaderBytes = 4096;

    /// Processor types the header names, in header order:
    /// - the first word is read little-endian; 0xBEBAFECA, 0xCEFAEDFE and 0xCFFAEDFE mean the
    ///   file's words are byte-swapped against that order;
    /// - universal (0xCAFEBABE, 0xBEBAFECA) with at least 8 bytes: the second word is the slice
    ///   count, and the processor type of slice k is the word at 8 + 20·k, for each whole
    ///   20-byte entry present (a count larger than the bytes hold stops at the last one);
    /// - thin 32-bit (0xFEEDFACE, 0xCEFAEDFE) with at least 28 bytes, or 64-bit (0xFEEDFACF,
    ///   0xCFFAEDFE) with at least 32: the second word;
    /// - anything else (a script, a Java class file's shorter header, too few bytes): none.
    static QList<qint32> cpuTypesFromHeader(const QByteArray &bytes);

    /// "Intel & Apple Silicon" when the types include Intel (7, 0x01000007) and Apple Silicon
    /// (12, 0x0100000C), "Apple Silicon" or "Intel" for one of them, else "—".
    static QString architectureLabelForCpuTypes(const QList<qint32> &cpuTypes);

    /// architectureLabelForCpuTypes(cpuTypesFromHeader(bytes)).
    static QString architectureLabelForHeader(const QByteArray &bytes);
};
