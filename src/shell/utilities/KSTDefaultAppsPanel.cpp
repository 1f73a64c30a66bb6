#include "KSTDefaultAppsPanel.h"

#include "KSTBusyIndicator.h"
#include "KSTDispatch.h"
#include "KSTElidedLabel.h"
#include "KSTFileIconView.h"
#include "KSTIconLoader.h"
#include "KSTPopUpMenu.h"
#include "KSTStyle.h"
#include "KSTUtilitiesAlerts.h"
#include "KSTUtilitiesManager.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QTextDocument>
#include <QTimer>
#include <QVBoxLayout>

namespace {
// Where a menu item keeps its app's icon file.
constexpr int IconPathRole = Qt::UserRole + 1;
} // namespace

KSTDefaultAppsPanel::KSTDefaultAppsPanel(KSTUtilitiesManager &manager,
                                         const KSTUtilitiesAlerts &alerts, QWidget *parent)
    : KSTUtilitiesPanel(QStringLiteral("app"), QStringLiteral("sky"),
                        QStringLiteral("Default Apps"), parent),
      m_manager(manager), m_alerts(alerts)
{
    setObjectName(QStringLiteral("defaultAppsPanel"));
    subtitleLabel()->setObjectName(QStringLiteral("defaultAppsSummary"));
    addRowList(2);
    subtitleLabel()->setText(QStringLiteral("Looking for file types…"));
}

void KSTDefaultAppsPanel::refresh()
{
    if (m_loading)
        return;
    m_loading = true;
    busyIndicator()->setRunning(true);
    // Every installed app's Info.plist is read: work for a worker, not the window.
    auto deliver = KSTDispatch::onMainFor<QList<KSTDefaultAppRecord>>(
        this, [this](const QList<KSTDefaultAppRecord> &records) { show(records); });
    KSTUtilitiesManager *manager = &m_manager;
    manager->scanInBackground(
        [manager, deliver = std::move(deliver)] { deliver(manager->scanDefaultAppBindings()); });
}

void KSTDefaultAppsPanel::show(const QList<KSTDefaultAppRecord> &records)
{
    m_loading = false;
    m_loaded = true;
    busyIndicator()->setRunning(false);
    clearRows();
    for (const KSTDefaultAppRecord &record : records)
        appendRow(rowFor(record));
    subtitleLabel()->setText(records.isEmpty()
                                 ? QStringLiteral("No file types with an application to open them.")
                                 : QStringLiteral("%1 file type(s)").arg(records.size()));
    Q_EMIT loaded();
}

QWidget *KSTDefaultAppsPanel::rowFor(const KSTDefaultAppRecord &record)
{
    auto *row = new QWidget(rowContainer());
    row->setObjectName(QStringLiteral("defaultAppRow"));
    row->setProperty("contentType", record.contentTypeUTI);
    auto *layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 3, 0, 3);
    layout->setSpacing(8);
    auto *texts = new QVBoxLayout;
    texts->setSpacing(0);
    auto *label = new KSTElidedLabel(record.extensionLabel, KSTStyle::Body, row);
    label->setObjectName(QStringLiteral("defaultAppLabel"));
    // Labels and types come from the apps' own declarations: never read as markup.
    label->setTextFormat(Qt::PlainText);
    label->setToolTip(Qt::convertFromPlainText(record.extensionLabel));
    texts->addWidget(label);
    auto *type = new KSTElidedLabel(record.contentTypeUTI, KSTStyle::Caption, row);
    type->setTextFormat(Qt::PlainText);
    type->setToolTip(Qt::convertFromPlainText(record.contentTypeUTI));
    texts->addWidget(type);
    layout->addLayout(texts, 1);

    // The handler's own icon, drawn once the row is shown; the symbol for an app without one.
    auto *icon = new KSTFileIconView(
        record.currentAppIcon, QStringLiteral("app"),
        record.currentBundleIdentifier.isEmpty() ? QString() : QStringLiteral("sky"), 18, row);
    icon->setObjectName(QStringLiteral("defaultAppIcon"));
    layout->addWidget(icon);
    auto *menu = new KSTPopUpMenu(row);
    menu->setObjectName(QStringLiteral("defaultAppMenu"));
    menu->setFixedWidth(150);
    int current = -1;
    for (const KSTDefaultAppCandidate &candidate : record.candidates) {
        if (candidate.bundleIdentifier == record.currentBundleIdentifier)
            current = menu->count();
        menu->addItem(candidate.name, candidate.bundleIdentifier);
        menu->setItemData(menu->count() - 1, candidate.icon, IconPathRole);
    }
    if (current < 0) {
        // The present handler ("None", or an app that does not list the type) heads the menu
        // without being offered as a choice.
        menu->insertItem(0, record.currentAppName, record.currentBundleIdentifier);
        current = 0;
    }
    menu->setCurrentIndex(current);
    menu->setToolTip(Qt::convertFromPlainText(record.currentAppName));
    connect(menu, &QComboBox::activated, this, [this, menu, record](int) { choose(menu, record); });
    // The candidates' icons are read only when someone opens the menu; the symbol stands in
    // for each until its file has been read.
    connect(menu, &KSTPopUpMenu::popupAboutToShow, menu, [menu] {
        for (int index = 0; index < menu->count(); ++index) {
            if (menu->itemIcon(index).isNull())
                menu->setItemIcon(index, KSTIconLoader::shared().applicationIcon(
                                             menu->itemData(index, IconPathRole).toString()));
        }
    });
    connect(&KSTIconLoader::shared(), &KSTIconLoader::iconLoaded, menu,
            [menu](const QString &path) {
                for (int index = 0; index < menu->count(); ++index) {
                    // Only items already drawn: the others are read when the menu opens.
                    if (!menu->itemIcon(index).isNull() &&
                        menu->itemData(index, IconPathRole).toString() == path)
                        menu->setItemIcon(index, KSTIconLoader::shared().applicationIcon(path));
                }
            });
    layout->addWidget(menu);
    return row;
}

void KSTDefaultAppsPanel::choose(QComboBox *menu, const KSTDefaultAppRecord &record)
{
    const QString chosen = menu->currentData().toString();
    const int previous = qMax(menu->findData(record.currentBundleIdentifier), 0);
    if (chosen == record.currentBundleIdentifier)
        return;
    if (m_loading) {
        // The list is being read again; the choice is made on the fresh one.
        menu->setCurrentIndex(previous);
        return;
    }
    KSTError error;
    if (m_manager.setDefaultAppWithBundleIdentifier(chosen, record.contentTypeUTI, &error)) {
        refresh();
        return;
    }
    menu->setCurrentIndex(previous);
    QTimer::singleShot(0, this, [this, error] {
        m_alerts.tell(this,
                      error.description.isEmpty()
                          ? QStringLiteral("Could not change the default app.")
                          : error.description,
                      {}, true);
    });
}
