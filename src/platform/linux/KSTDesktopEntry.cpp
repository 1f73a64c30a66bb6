#include "KSTDesktopEntry.h"

#include "KSTKeyFileText.h"

#include <QByteArrayView>
#include <QStringList>

namespace {

// The Name keys worth keeping for @p locale, most specific first, "Name" last.
QStringList nameKeysFor(const QString &locale)
{
    // lang_COUNTRY.ENCODING@MODIFIER; the encoding plays no part in the match.
    QString rest = locale;
    QString modifier;
    const qsizetype at = rest.indexOf(QLatin1Char('@'));
    if (at >= 0) {
        modifier = rest.mid(at + 1);
        rest = rest.left(at);
    }
    const qsizetype dot = rest.indexOf(QLatin1Char('.'));
    if (dot >= 0)
        rest = rest.left(dot);
    const qsizetype underscore = rest.indexOf(QLatin1Char('_'));
    const QString language = underscore < 0 ? rest : rest.left(underscore);
    QStringList keys;
    if (!language.isEmpty() && language != QLatin1String("C") &&
        language != QLatin1String("POSIX")) {
        auto add = [&keys](const QString &tag) {
            const QString key = QLatin1String("Name[") + tag + QLatin1Char(']');
            if (!keys.contains(key))
                keys << key;
        };
        if (underscore >= 0 && !modifier.isEmpty())
            add(rest + QLatin1Char('@') + modifier);
        if (underscore >= 0)
            add(rest);
        if (!modifier.isEmpty())
            add(language + QLatin1Char('@') + modifier);
        add(language);
    }
    keys << QStringLiteral("Name");
    return keys;
}

QString unescaped(QByteArrayView value)
{
    QByteArray text;
    text.reserve(value.size());
    for (qsizetype index = 0; index < value.size(); ++index) {
        char c = value.at(index);
        if (c == '\\' && index + 1 < value.size()) {
            const char next = value.at(++index);
            switch (next) {
            case 's':
                c = ' ';
                break;
            case 'n':
                c = '\n';
                break;
            case 't':
                c = '\t';
                break;
            case 'r':
                c = '\r';
                break;
            default:
                c = next;
            }
        }
        text.append(c);
    }
    return QString::fromUtf8(text);
}

} // namespace

bool KSTDesktopEntry::isShownApplication() const
{
    return valid && type == QLatin1String("Application") && !noDisplay && !hidden;
}

KSTDesktopEntry KSTDesktopEntry::parse(const QByteArray &contents, const QString &locale)
{
    KSTDesktopEntry entry;
    const QStringList nameKeys = nameKeysFor(locale);
    qsizetype bestName = nameKeys.size(); // index of the key the name came from
    const QByteArrayView text = QByteArrayView(contents).first(
        std::min<qsizetype>(contents.size(), qsizetype(maximumFileBytes)));
    bool seenKeys[8] = {};
    // dpkg, flatpak and snapd write one line per key; a repeated key is an error, first wins.
    enum {
        TypeKey,
        ExecKey,
        TryExecKey,
        NoDisplayKey,
        HiddenKey,
        MimeTypeKey,
        AutostartKey,
        CategoriesKey
    };

    qsizetype position = 0;
    while (position < text.size()) {
        qsizetype end = text.indexOf('\n', position);
        if (end < 0)
            end = text.size();
        const QByteArrayView rawLine = text.sliced(position, end - position);
        position = end + 1;
        if (rawLine.size() > maximumLineBytes)
            continue;
        const QByteArrayView line = KSTKeyFileText::trimmed(rawLine);
        if (line.isEmpty() || line.startsWith('#'))
            continue;
        if (line.startsWith('[')) {
            if (entry.valid)
                break; // the next group: an action or an extension's, never the app's
            if (line != "[Desktop Entry]")
                return entry; // the first group must be this one
            entry.valid = true;
            continue;
        }
        if (!entry.valid)
            continue;
        const qsizetype equals = line.indexOf('=');
        if (equals <= 0)
            continue;
        const QByteArrayView key = KSTKeyFileText::trimmed(line.first(equals));
        const QByteArrayView value = KSTKeyFileText::trimmed(line.sliced(equals + 1));
        auto once = [&seenKeys](int which) {
            if (seenKeys[which])
                return false;
            seenKeys[which] = true;
            return true;
        };
        if (key == "Type" && once(TypeKey)) {
            entry.type = unescaped(value);
        } else if (key == "Exec" && once(ExecKey)) {
            entry.exec = unescaped(value);
        } else if (key == "TryExec" && once(TryExecKey)) {
            entry.tryExec = unescaped(value);
        } else if (key == "NoDisplay" && once(NoDisplayKey)) {
            entry.noDisplay = value == "true";
        } else if (key == "Hidden" && once(HiddenKey)) {
            entry.hidden = value == "true";
        } else if (key == "MimeType" && once(MimeTypeKey)) {
            // A list: items end with ";" (the last one may not); a type never holds one.
            const QStringList items = unescaped(value).split(QLatin1Char(';'));
            for (const QString &item : items) {
                if (!item.trimmed().isEmpty())
                    entry.mimeTypes << item.trimmed();
            }
        } else if (key == "X-GNOME-Autostart-enabled" && once(AutostartKey)) {
            entry.autostartEnabled = value != "false";
        } else if (key == "Categories" && once(CategoriesKey)) {
            entry.categories = unescaped(value).split(QLatin1Char(';'), Qt::SkipEmptyParts);
        } else if (key == "X-Flatpak" && entry.flatpakId.isEmpty()) {
            entry.flatpakId = unescaped(value);
        } else if (key == "X-SnapInstanceName" && entry.snapInstanceName.isEmpty()) {
            entry.snapInstanceName = unescaped(value);
        } else if (key.startsWith("Name")) {
            const qsizetype rank = nameKeys.indexOf(QString::fromUtf8(key));
            if (rank >= 0 && rank < bestName) {
                bestName = rank;
                entry.name = unescaped(value);
            }
        }
    }
    return entry;
}
