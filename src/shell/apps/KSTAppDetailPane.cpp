#include "KSTAppDetailPane.h"

#include "KSTAppUninstallSelection.h"
#include "KSTBusyIndicator.h"
#include "KSTElidedLabel.h"
#include "KSTFormatting.h"
#include "KSTLayoutWords.h"
#include "KSTRelatedPathList.h"
#include "KSTStyle.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace {

constexpr int IconSize = 48;
constexpr int FieldsWidth = 330;

// The fields of the grid: object name suffix and label, in display order.
const struct
{
    const char *key;
    const char *label;
} Fields[] = {
    {"Developer", "Developer"},       {"Category", "Category"},
    {"Architecture", "Architecture"}, {"Source", "Source"},
    {"Installed", "Installed"},       {"LastOpened", "Last opened"},
    {"BundleSize", "App size"},       {"TotalSize", "With related files"},
};

QString sizeOrDash(quint64 bytes)
{
    return bytes == 0 ? QStringLiteral("—") : KSTFormatting::formatBytes(bytes);
}

} // namespace

KSTAppDetailPane::KSTAppDetailPane(KSTAppUninstallSelection &selection, QWidget *parent)
    : KSTCardFrame(parent), m_selection(selection)
{
    setObjectName(QStringLiteral("appDetailPane"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 16, 20, 14);
    m_pages = new QStackedWidget(this);
    layout->addWidget(m_pages);

    auto *hint = KSTStyle::label(
        QStringLiteral("Select an app to see its details and the files it keeps elsewhere."),
        KSTStyle::Secondary, m_pages);
    hint->setObjectName(QStringLiteral("detailHint"));
    hint->setAlignment(Qt::AlignCenter);
    m_pages->addWidget(hint);

    auto *content = new QWidget(m_pages);
    auto *columns = new QHBoxLayout(content);
    columns->setContentsMargins(0, 0, 0, 0);
    columns->setSpacing(24);
    columns->addWidget(buildFields());
    columns->addWidget(buildRelated(), 1);
    m_pages->addWidget(content);

    connect(&m_selection, &KSTAppUninstallSelection::selectionChanged, this,
            &KSTAppDetailPane::refreshFooter);
    connect(&m_selection, &KSTAppUninstallSelection::uninstallingChanged, this,
            &KSTAppDetailPane::refreshFooter);
    showNothing();
}

QWidget *KSTAppDetailPane::buildFields()
{
    auto *fields = new QWidget(this);
    fields->setFixedWidth(FieldsWidth);
    auto *layout = new QVBoxLayout(fields);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    auto *header = new QHBoxLayout;
    header->setSpacing(12);
    m_icon = new QLabel(fields);
    m_icon->setFixedSize(IconSize, IconSize);
    header->addWidget(m_icon);
    auto *titles = new QVBoxLayout;
    titles->setSpacing(2);
    m_name = KSTStyle::label({}, KSTStyle::Title, fields);
    m_name->setObjectName(QStringLiteral("detailName"));
    titles->addWidget(m_name);
    m_subtitle = KSTStyle::label({}, KSTStyle::Secondary, fields);
    m_subtitle->setObjectName(QStringLiteral("detailSubtitle"));
    m_subtitle->setTextInteractionFlags(Qt::TextSelectableByMouse);
    titles->addWidget(m_subtitle);
    header->addLayout(titles, 1);
    layout->addLayout(header);
    layout->addSpacing(14);

    auto *grid = new QGridLayout;
    grid->setHorizontalSpacing(12);
    grid->setVerticalSpacing(6);
    int row = 0;
    for (const auto &field : Fields) {
        grid->addWidget(KSTStyle::label(QLatin1String(field.label), KSTStyle::Caption, fields), row,
                        0, Qt::AlignLeft | Qt::AlignVCenter);
        QLabel *value = KSTStyle::label({}, KSTStyle::Body, fields);
        value->setObjectName(QStringLiteral("detail") + QLatin1String(field.key));
        grid->addWidget(value, row, 1);
        m_values.insert(QLatin1String(field.key), value);
        ++row;
    }
    grid->addWidget(KSTStyle::label(QStringLiteral("Location"), KSTStyle::Caption, fields), row, 0,
                    Qt::AlignLeft | Qt::AlignVCenter);
    m_location = new KSTElidedLabel({}, KSTStyle::Body, fields);
    m_location->setObjectName(QStringLiteral("detailLocation"));
    grid->addWidget(m_location, row, 1);
    grid->setColumnStretch(1, 1);
    layout->addLayout(grid);
    layout->addStretch(1);
    return fields;
}

QWidget *KSTAppDetailPane::buildRelated()
{
    auto *related = new QWidget(this);
    auto *layout = new QVBoxLayout(related);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(
        KSTStyle::label(QStringLiteral("Related Files"), KSTStyle::Headline, related));
    layout->addSpacing(2);
    layout->addWidget(KSTStyle::label(
        QStringLiteral("Ticked items go to the Trash with the app. Weak matches stay unless you "
                       "tick them."),
        KSTStyle::Secondary, related));
    layout->addSpacing(6);

    m_relatedPages = new QStackedWidget(related);
    auto *looking = new QWidget(m_relatedPages);
    auto *lookingLayout = new QHBoxLayout(looking);
    lookingLayout->addStretch(1);
    m_lookingIndicator = new KSTBusyIndicator(16, looking);
    lookingLayout->addWidget(m_lookingIndicator);
    auto *lookingText =
        KSTStyle::label(QStringLiteral("Looking for related files…"), KSTStyle::Secondary, looking);
    lookingText->setObjectName(QStringLiteral("relatedLooking"));
    lookingLayout->addWidget(lookingText);
    lookingLayout->addStretch(1);
    m_relatedPages->addWidget(looking);
    m_relatedList = new KSTRelatedPathList(m_selection, m_relatedPages);
    m_relatedPages->addWidget(m_relatedList);
    layout->addWidget(m_relatedPages, 1);
    layout->addSpacing(8);

    auto *footer = new QHBoxLayout;
    footer->setSpacing(10);
    auto *texts = new QVBoxLayout;
    texts->setSpacing(2);
    m_selectedTotal = KSTStyle::label({}, KSTStyle::Body, related);
    m_selectedTotal->setObjectName(QStringLiteral("selectedTotal"));
    texts->addWidget(m_selectedTotal);
    m_reason = KSTStyle::label({}, KSTStyle::Secondary, related);
    m_reason->setObjectName(QStringLiteral("uninstallReason"));
    texts->addWidget(m_reason);
    footer->addLayout(texts, 1);
    m_uninstallIndicator = new KSTBusyIndicator(16, related);
    footer->addWidget(m_uninstallIndicator);
    m_uninstallingLabel =
        KSTStyle::label(QStringLiteral("Uninstalling…"), KSTStyle::Secondary, related);
    m_uninstallingLabel->setObjectName(QStringLiteral("uninstallingLabel"));
    footer->addWidget(m_uninstallingLabel);
    m_uninstallButton = new QPushButton(QStringLiteral("Uninstall"), related);
    m_uninstallButton->setObjectName(QStringLiteral("uninstallButton"));
    m_uninstallButton->setMinimumWidth(104);
    KSTStyle::setButtonRole(m_uninstallButton, KSTStyle::PrimaryButton);
    connect(m_uninstallButton, &QPushButton::clicked, this, &KSTAppDetailPane::uninstallRequested);
    footer->addWidget(m_uninstallButton);
    layout->addLayout(footer);
    return related;
}

void KSTAppDetailPane::showNothing()
{
    m_showingApp = false;
    m_relatedLoaded = false;
    m_pages->setCurrentIndex(0);
    m_lookingIndicator->setRunning(false);
    refreshFooter();
}

void KSTAppDetailPane::showApp(const KSTInstalledAppRecord &app, const QIcon &icon,
                               bool relatedLoaded)
{
    m_showingApp = true;
    m_relatedLoaded = relatedLoaded;
    m_pages->setCurrentIndex(1);
    m_icon->setPixmap(icon.pixmap(IconSize, IconSize));
    m_name->setText(app.name);
    const QString version = app.buildVersion.isEmpty() || app.buildVersion == app.version
                                ? app.version
                                : QStringLiteral("%1 (%2)").arg(app.version, app.buildVersion);
    m_subtitle->setText(QStringLiteral("Version %1 · %2").arg(version, app.bundleIdentifier));
    m_values.value(QStringLiteral("Developer"))->setText(app.developer);
    m_values.value(QStringLiteral("Category"))->setText(app.category);
    m_values.value(QStringLiteral("Architecture"))->setText(app.architectureLabel);
    m_values.value(QStringLiteral("Source"))
        ->setText(KSTLayoutWords::current().appSourceDetailLabel(app.source));
    m_values.value(QStringLiteral("Installed"))
        ->setText(KSTFormatting::formatAppManageInstalledDate(app.installedDate));
    m_values.value(QStringLiteral("LastOpened"))
        ->setText(KSTFormatting::formatAppManageLastOpened(app.lastOpenedDate));
    m_values.value(QStringLiteral("BundleSize"))->setText(sizeOrDash(app.bundleSizeBytes));
    m_values.value(QStringLiteral("TotalSize"))
        ->setText(relatedLoaded ? sizeOrDash(app.totalSizeBytes) : QStringLiteral("—"));
    m_location->setFullText(app.bundlePath);
    m_relatedPages->setCurrentIndex(relatedLoaded ? 1 : 0);
    m_lookingIndicator->setRunning(!relatedLoaded);
    refreshFooter();
}

void KSTAppDetailPane::refreshFooter()
{
    const bool uninstalling = m_selection.isUninstalling();
    const bool ready = m_showingApp && m_relatedLoaded;
    if (!ready) {
        m_selectedTotal->clear();
    } else {
        const qsizetype count = m_selection.uninstallPaths().size();
        m_selectedTotal->setText(QStringLiteral("%1 selected · %2")
                                     .arg(KSTFormatting::formatBytes(m_selection.selectedBytes()),
                                          count == 1 ? QStringLiteral("1 item")
                                                     : QStringLiteral("%1 items").arg(count)));
    }
    const QString reason = m_showingApp ? m_selection.unavailableReason() : QString();
    m_reason->setText(reason);
    m_reason->setVisible(!reason.isEmpty());
    m_uninstallButton->setEnabled(ready && m_selection.canUninstall());
    m_relatedList->setEnabled(!uninstalling);
    m_uninstallIndicator->setRunning(uninstalling);
    m_uninstallingLabel->setVisible(uninstalling);
}
