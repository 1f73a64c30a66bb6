#pragma once

#include <QDateTime>
#include <QString>

#include <optional>

/// The texts every screen and command shows for sizes, rates, counts, durations and dates.
/// Pure functions of their argument (and of now and the calendar), callable from any thread.
/// Sizes step by 1024 even though the labels look decimal; numbers use the C locale's point,
/// except formatCount, which groups digits as the user's locale does.
class KSTFormatting
{
public:
    /// "0 B", "512.0 B", "1.0 KB", "1 MB", "2 GB": steps of 1024; KB with one decimal, MB and
    /// above without; values beyond 1024 TB stay in TB.
    static QString formatBytes(quint64 bytes);
    /// For cards and charts: "%.1f TB" from 2^40, formatBytes below 2^20, else whole MB / GB.
    static QString formatBytesShort(quint64 bytes);
    /// "+3 GB", "−512 MB" (U+2212 minus), "0 B".
    static QString formatSignedBytesShort(qint64 bytes);
    /// Megabytes (2^20 bytes) per second: "1.5 GB/s", "12.3 MB/s", "512 KB/s".
    static QString formatThroughput(double megabytesPerSecond);
    /// Decimal with the current locale's grouping ("12,345").
    static QString formatCount(quint64 count);
    /// "42 sec", "5 min", "3h", "3h 7m", "2d 5h".
    static QString formatDuration(double seconds);
    /// App usage: "Less than 1 minute", "59 minutes", "1 hour 1 minute", "1 day 1 hour".
    static QString formatApproximateUsageDuration(double seconds);
    /// "just now", "2 min ago", "3 hr ago", "4 days ago"; nothing or the future: "just now".
    static QString formatRelativeScanTime(const std::optional<QDateTime> &date);
    /// "Mar 04, 2024" (English month); nothing: "—".
    static QString formatAppManageInstalledDate(const std::optional<QDateTime> &date);
    /// "Never", "Today, 14:05", "Yesterday",
    /// "3 days ago", "1 week ago", "2 weeks ago", "1 month ago", else the installed-date form.
    static QString formatAppManageLastOpened(const std::optional<QDateTime> &date);
    /// 0 "App Store", 2 "System", anything else "Direct".
    static QString sourceLabelForInstalledAppSource(qint64 source);
    /// 0 "Mac App Store", 2 "macOS System", anything else "Direct Download".
    static QString detailSourceLabelForInstalledAppSource(qint64 source);
};
