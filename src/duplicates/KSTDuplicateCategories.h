#pragma once

#include <QString>
#include <QStringList>

/// The six content categories of duplicate groups and the extension table that sorts a file
/// into one of them. Pure functions; the tables are built once, on first use, thread-safely.
///
/// | key        | name       | symbol               |
/// |------------|------------|----------------------|
/// | "images"   | "Images"   | "photo"              |
/// | "photos"   | "Photos"   | "photo.on.rectangle" |
/// | "videos"   | "Videos"   | "film"               |
/// | "audios"   | "Audios"   | "music.note"         |
/// | "archives" | "Archives" | "doc.zipper"         |
/// | "others"   | "Others"   | "doc"                |
///
/// Camera formats and JPEG/HEIF count as photos; PNG, GIF, TIFF and the like as images.
class KSTDuplicateCategories
{
public:
    KSTDuplicateCategories() = delete;

    /// The six keys in their fixed order.
    static const QStringList &categoryTypes();

    /// The category of a file extension (without the dot), compared in lower case; anything
    /// not in the 35-entry table, including no extension, is "others".
    static QString duplicateCategoryForExtension(const QString &extension);
    /// The title of a category key; "Others" for an unknown key.
    static QString duplicateCategoryName(const QString &categoryType);
    /// The symbol image name of a category key; "doc" for an unknown key.
    static QString duplicateCategorySymbol(const QString &categoryType);

    /// The extension of a file name: what follows its last dot, empty when there is none or
    /// the dot is the name's first or last character.
    static QString extensionOfFileName(const QString &fileName);
};
