#include "KSTStartupCommand.h"

#include "KSTStartupItemsPanelModel.h"
#include "KSTTerminalText.h"
#include "KSTUtilitiesCommandSupport.h"
#include "KSTUtilitiesManager.h"

#include <QJsonArray>
#include <QJsonObject>

namespace {

using namespace KSTUtilitiesCommandSupport;

QJsonObject itemJson(const KSTStartupItemRecord &item)
{
    return {{QStringLiteral("name"), item.name},
            {QStringLiteral("typeLabel"), item.typeLabel},
            {QStringLiteral("impact"), item.impact},
            {QStringLiteral("path"), item.path},
            {QStringLiteral("itemType"), qint64(item.itemType)},
            {QStringLiteral("itemIdentifier"), item.itemIdentifier},
            {QStringLiteral("canDisable"), item.canDisable}};
}

int list(KSTCliContext &context, const KSTStartupItemsPanelModel &model)
{
    if (context.json()) {
        QJsonArray items;
        for (const KSTStartupItemRecord &item : model.items())
            items.append(itemJson(item));
        context.printJson(QJsonObject{{QStringLiteral("bootImpact"), model.bootImpact()},
                                      {QStringLiteral("items"), items}});
        return KSTCliContext::Success;
    }
    QTextStream &out = context.out();
    out << KSTStartupItemsPanelModel::bootImpactLabel() << ' ' << model.bootImpact() << '\n';
    if (model.items().isEmpty())
        out << KSTStartupItemsPanelModel::emptyText() << '\n';
    for (const KSTStartupItemRecord &item : model.items())
        out << "  " << KSTTerminalText::escaped(item.name).leftJustified(32) << ' '
            << item.typeLabel.leftJustified(13) << ' ' << item.impact.leftJustified(6) << ' '
            << (item.canDisable ? "can disable " : "            ")
            << KSTTerminalText::escaped(item.path) << '\n';
    out.flush();
    return KSTCliContext::Success;
}

int disable(KSTCliContext &context, KSTStartupItemsPanelModel &model)
{
    const bool yes = context.takeFlag(QStringLiteral("--yes"));
    if (context.arguments().size() != 1)
        return context.usageError(QStringLiteral("startup disable needs one ITEM (a path or an "
                                                 "identifier from 'kestrel startup')"));
    const QString typed = context.arguments().first();
    KSTStartupItemRecord item;
    switch (model.find(typed, &item)) {
    case KSTStartupItemsPanelModel::Match::NotFound:
        return context.usageError(
            QStringLiteral("no startup item has the path or identifier '%1'").arg(typed));
    case KSTStartupItemsPanelModel::Match::Ambiguous:
        return context.usageError(
            QStringLiteral("several startup items have the identifier '%1'; give its path")
                .arg(typed));
    case KSTStartupItemsPanelModel::Match::Found:
        break;
    }
    QTextStream &stream = talk(context);
    stream << KSTTerminalText::escaped(KSTStartupItemsPanelModel::confirmationMessage(item)) << '\n'
           << KSTStartupItemsPanelModel::confirmationInformativeText() << '\n';
    if (!confirmed(context, KSTStartupItemsPanelModel::disableButtonTitle() + QLatin1Char('?'),
                   yes))
        return KSTCliContext::Failure;

    KSTError error;
    const bool disabled = model.disable(item, &error);
    const std::optional<KSTError> failure = disabled ? std::nullopt : std::optional(error);
    if (context.json())
        context.printJson(QJsonObject{{QStringLiteral("disabled"), disabled},
                                      {QStringLiteral("error"), errorJson(failure)}});
    if (!disabled) {
        stream << KSTTerminalText::escaped(KSTStartupItemsPanelModel::failureText(failure)) << '\n';
        stream.flush();
        return context.failure(error);
    }
    stream << "Disabled " << KSTTerminalText::escaped(item.name) << ".\n";
    stream.flush();
    return KSTCliContext::Success;
}

} // namespace

int kstRunStartupCommand(KSTCliContext &context)
{
    KSTStartupItemsPanelModel model(KSTUtilitiesManager::sharedManager());
    model.rescan();
    if (!context.arguments().isEmpty() && context.arguments().first() == QLatin1String("disable")) {
        KSTCliContext sub(context.arguments().mid(1), context.json(), context.out(), context.err());
        return disable(sub, model);
    }
    if (!context.arguments().isEmpty())
        return context.usageError(
            QStringLiteral("startup takes no argument '%1'").arg(context.arguments().first()));
    return list(context, model);
}
