#include "KSTApplicationTypes.h"

namespace {

QString stringOf(const QVariant &value)
{
    return value.typeId() == QMetaType::QString ? value.toString() : QString();
}

QVariantList listOf(const QVariant &value)
{
    return value.typeId() == QMetaType::QVariantList ? value.toList() : QVariantList();
}

void addDeclarations(const QVariant &declarations, QMap<QString, QStringList> &extensions)
{
    for (const QVariant &declaration : listOf(declarations)) {
        if (declaration.typeId() != QMetaType::QVariantMap)
            continue;
        const QVariantMap map = declaration.toMap();
        const QString identifier = stringOf(map.value(QStringLiteral("UTTypeIdentifier")));
        const QVariant tags = map.value(QStringLiteral("UTTypeTagSpecification"));
        if (identifier.isEmpty() || tags.typeId() != QMetaType::QVariantMap)
            continue;
        const QVariant tag = tags.toMap().value(QStringLiteral("public.filename-extension"));
        QStringList found;
        if (tag.typeId() == QMetaType::QString && !tag.toString().isEmpty())
            found << tag.toString();
        for (const QVariant &member : listOf(tag)) {
            if (!stringOf(member).isEmpty())
                found << member.toString();
        }
        const QString key = identifier.toLower();
        if (!found.isEmpty() && !extensions.contains(key))
            extensions.insert(key, found);
    }
}

} // namespace

QStringList KSTApplicationTypes::contentTypes() const
{
    QStringList types;
    for (const DocumentType &type : documentTypes)
        types << type.contentType;
    return types;
}

KSTApplicationTypes KSTApplicationTypes::fromInfoPlist(const QVariantMap &infoPlist)
{
    KSTApplicationTypes app;
    app.bundleIdentifier = stringOf(infoPlist.value(QStringLiteral("CFBundleIdentifier")));
    app.bundleName = stringOf(infoPlist.value(QStringLiteral("CFBundleName")));
    for (const QVariant &element :
         listOf(infoPlist.value(QStringLiteral("CFBundleDocumentTypes")))) {
        if (element.typeId() != QMetaType::QVariantMap)
            continue;
        const QVariantMap type = element.toMap();
        const QString rank = stringOf(type.value(QStringLiteral("LSHandlerRank")));
        const QVariant members = type.value(QStringLiteral("LSItemContentTypes"));
        if (members.typeId() != QMetaType::QVariantList)
            continue;
        for (const QVariant &member : members.toList()) {
            if (member.typeId() == QMetaType::QString)
                app.documentTypes.append({member.toString(), rank});
        }
    }
    addDeclarations(infoPlist.value(QStringLiteral("UTExportedTypeDeclarations")),
                    app.declaredExtensions);
    addDeclarations(infoPlist.value(QStringLiteral("UTImportedTypeDeclarations")),
                    app.declaredExtensions);
    return app;
}
