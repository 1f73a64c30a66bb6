#pragma once

#include <QByteArray>

#include <optional>

/// The machine an ELF executable was built for, read from its first bytes: the identification
/// ("\x7fELF", class 32 or 64 bit, byte order) and e_machine, which both classes keep at
/// offset 18. Only header bytes are ever needed: callers read the first HeaderBytes of the
/// program, never the whole file. Pure; thread-safe.
namespace KSTElfHeader {

/// How much of a program machine() looks at.
constexpr qsizetype HeaderBytes = 20;

/// e_machine values the labels know.
constexpr quint16 MachineX86 = 3;
constexpr quint16 MachineArm = 40;
constexpr quint16 MachineX86_64 = 62;
constexpr quint16 MachineAArch64 = 183;

/// e_machine of @p header in the byte order it declares; nothing when it is shorter than
/// HeaderBytes, lacks the magic, or names an unknown class (not 1 or 2) or byte order (not 1
/// or 2): a script, a truncated or a foreign file.
std::optional<quint16> machine(const QByteArray &header);

} // namespace KSTElfHeader
