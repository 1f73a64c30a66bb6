#include "KSTNeverTouchListView.h"

#include "KSTCardFrame.h"
#include "KSTPalette.h"
#include "KSTStyle.h"
#include "KSTSymbolImage.h"
#include "KSTSymbolView.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

KSTNeverTouchListView::KSTNeverTouchListView(QWidget *parent) : QWidget(parent)
{
    auto *outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto *card = new KSTCardFrame(this);
    outer->addWidget(card);
    auto *layout = new QVBoxLayout(card);
    layout->setContentsMargins(20, 16, 20, 16);
    layout->setSpacing(6);

    auto *header = new QHBoxLayout;
    auto *titles = new QVBoxLayout;
    titles->setSpacing(2);
    titles->addLayout(
        KSTCardFrame::headerRow(card, QStringLiteral("Never Touch"), KSTStyle::Headline));
    titles->addWidget(KSTStyle::label(
        QStringLiteral("Auto Clean leaves these folders and everything inside them alone."),
        KSTStyle::Secondary, card));
    header->addLayout(titles, 1);
    m_addButton = new QPushButton(QStringLiteral("Add Folder…"), card);
    m_addButton->setObjectName(QStringLiteral("addNeverTouch"));
    KSTStyle::setButtonRole(m_addButton, KSTStyle::SecondaryButton);
    header->addWidget(m_addButton, 0, Qt::AlignVCenter);
    layout->addLayout(header);
    layout->addSpacing(6);

    m_rows = new QVBoxLayout;
    m_rows->setSpacing(0);
    layout->addLayout(m_rows);
    m_notice = KSTStyle::label({}, KSTStyle::Secondary, card);
    m_notice->setObjectName(QStringLiteral("neverTouchNotice"));
    m_notice->hide();
    layout->addWidget(m_notice);

    connect(m_addButton, &QPushButton::clicked, this, &KSTNeverTouchListView::addRequested);
    connect(&KSTPalette::instance(), &KSTPalette::appearanceChanged, this,
            &KSTNeverTouchListView::refreshIcons);
    setPaths({});
}

void KSTNeverTouchListView::setPaths(const QStringList &paths)
{
    if (paths == m_paths && m_rows->count() > 0)
        return;
    m_paths = paths;
    while (QLayoutItem *item = m_rows->takeAt(0)) {
        if (QWidget *widget = item->widget())
            widget->deleteLater();
        delete item;
    }
    if (paths.isEmpty()) {
        QLabel *empty = KSTStyle::label(QStringLiteral("No folders yet."), KSTStyle::Secondary);
        empty->setContentsMargins(0, 6, 0, 6);
        m_rows->addWidget(empty);
        return;
    }
    for (const QString &path : paths) {
        auto *row = new QWidget;
        row->setObjectName(QStringLiteral("neverTouchRow"));
        auto *layout = new QHBoxLayout(row);
        layout->setContentsMargins(0, 6, 0, 6);
        layout->setSpacing(10);
        layout->addWidget(
            new KSTSymbolView(QStringLiteral("folder"), QStringLiteral("blue"), 16, row));
        layout->addWidget(KSTStyle::label(path, KSTStyle::Body, row), 1);
        auto *remove = new QPushButton(row);
        remove->setObjectName(QStringLiteral("removeNeverTouch"));
        remove->setProperty("path", path);
        remove->setToolTip(QStringLiteral("Remove %1 from the list").arg(path));
        remove->setAccessibleName(QStringLiteral("Remove"));
        KSTStyle::setButtonRole(remove, KSTStyle::PlainButton);
        remove->setFixedSize(28, 28);
        connect(remove, &QPushButton::clicked, this,
                [this, path] { Q_EMIT removeRequested(path); });
        layout->addWidget(remove);
        m_rows->addWidget(row);
    }
    refreshIcons();
}

void KSTNeverTouchListView::refreshIcons()
{
    const QIcon icon(KSTSymbolImage::pixmap(QStringLiteral("xmark"), KSTPalette::secondaryText(),
                                            14, devicePixelRatioF()));
    for (QPushButton *button : findChildren<QPushButton *>(QStringLiteral("removeNeverTouch")))
        button->setIcon(icon);
}

void KSTNeverTouchListView::setNotice(const QString &notice)
{
    m_notice->setText(notice);
    m_notice->setVisible(!notice.isEmpty());
}

QString KSTNeverTouchListView::notice() const
{
    return m_notice->text();
}

QPushButton *KSTNeverTouchListView::removeButtonForPath(const QString &path) const
{
    for (QPushButton *button : findChildren<QPushButton *>(QStringLiteral("removeNeverTouch"))) {
        if (button->property("path").toString() == path)
            return button;
    }
    return nullptr;
}
