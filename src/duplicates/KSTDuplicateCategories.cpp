#include "KSTDuplicateCategories.h"

#include <QHash>

namespace {

struct Category
{
    QString key;
    QString name;
    QString symbol;
};

const QList<Category> &categories()
{
    static const QList<Category> list = {
        {QStringLiteral("images"), QStringLiteral("Images"), QStringLiteral("photo")},
        {QStringLiteral("photos"), QStringLiteral("Photos"), QStringLiteral("photo.on.rectangle")},
        {QStringLiteral("videos"), QStringLiteral("Videos"), QStringLiteral("film")},
        {QStringLiteral("audios"), QStringLiteral("Audios"), QStringLiteral("music.note")},
        {QStringLiteral("archives"), QStringLiteral("Archives"), QStringLiteral("doc.zipper")},
        {QStringLiteral("others"), QStringLiteral("Others"), QStringLiteral("doc")},
    };
    return list;
}

const QHash<QString, QString> &extensionTable()
{
    static const QHash<QString, QString> table = [] {
        const QList<std::pair<const char *, QStringList>> rows = {
            {"photos",
             {QStringLiteral("jpg"), QStringLiteral("jpeg"), QStringLiteral("heic"),
              QStringLiteral("heif"), QStringLiteral("raw"), QStringLiteral("cr2"),
              QStringLiteral("nef"), QStringLiteral("dng")}},
            {"images",
             {QStringLiteral("png"), QStringLiteral("gif"), QStringLiteral("webp"),
              QStringLiteral("bmp"), QStringLiteral("tif"), QStringLiteral("tiff"),
              QStringLiteral("svg")}},
            {"videos",
             {QStringLiteral("mp4"), QStringLiteral("mov"), QStringLiteral("avi"),
              QStringLiteral("mkv"), QStringLiteral("m4v"), QStringLiteral("wmv")}},
            {"audios",
             {QStringLiteral("mp3"), QStringLiteral("m4a"), QStringLiteral("wav"),
              QStringLiteral("aiff"), QStringLiteral("flac"), QStringLiteral("aac"),
              QStringLiteral("ogg")}},
            {"archives",
             {QStringLiteral("zip"), QStringLiteral("rar"), QStringLiteral("7z"),
              QStringLiteral("tar"), QStringLiteral("gz"), QStringLiteral("dmg"),
              QStringLiteral("pkg")}},
        };
        QHash<QString, QString> built;
        for (const auto &[category, extensions] : rows) {
            for (const QString &extension : extensions)
                built.insert(extension, QString::fromLatin1(category));
        }
        return built;
    }();
    return table;
}

const Category *categoryNamed(const QString &key)
{
    for (const Category &category : categories()) {
        if (category.key == key)
            return &category;
    }
    return nullptr;
}

} // namespace

const QStringList &KSTDuplicateCategories::categoryTypes()
{
    static const QStringList keys = [] {
        QStringList list;
        for (const Category &category : categories())
            list << category.key;
        return list;
    }();
    return keys;
}

QString KSTDuplicateCategories::duplicateCategoryForExtension(const QString &extension)
{
    return extensionTable().value(extension.toLower(), QStringLiteral("others"));
}

QString KSTDuplicateCategories::duplicateCategoryName(const QString &categoryType)
{
    const Category *category = categoryNamed(categoryType);
    return category ? category->name : QStringLiteral("Others");
}

QString KSTDuplicateCategories::duplicateCategorySymbol(const QString &categoryType)
{
    const Category *category = categoryNamed(categoryType);
    return category ? category->symbol : QStringLiteral("doc");
}

QString KSTDuplicateCategories::extensionOfFileName(const QString &fileName)
{
    const qsizetype dot = fileName.lastIndexOf(QLatin1Char('.'));
    if (dot <= 0 || dot == fileName.size() - 1)
        return {};
    return fileName.mid(dot + 1);
}
