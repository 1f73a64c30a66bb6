// The kit's card headers: the header row a card's title sits in and the header card at the
// top of a screen. Screens rely on where they put things: the symbol first, the title after
// it, the caller's widgets at the right edge, and an idle busy indicator taking no room.
#include "KSTBusyIndicator.h"
#include "KSTCardFrame.h"
#include "KSTHeaderCard.h"
#include "KSTSymbolView.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

#include <gtest/gtest.h>

namespace {

constexpr int CardWidth = 480;

struct HeaderRowCase
{
    const char *description;
    const char *symbol; ///< "" for none
    int symbolSize;
    int spacing;
};

TEST(CardHeaderTest, AHeaderRowPutsTheSymbolThenTheTitleAndTheRestAtTheRightEdge)
{
    const HeaderRowCase cases[] = {
        {"symbol and title", "internaldrive", 18, 10},
        {"a smaller symbol, closer", "cpu", 15, 8},
        {"title only", "", 16, 8},
    };
    for (const HeaderRowCase &c : cases) {
        SCOPED_TRACE(c.description);
        KSTCardFrame card;
        auto *layout = new QVBoxLayout(&card);
        layout->setContentsMargins(20, 16, 20, 16);
        QHBoxLayout *row = KSTCardFrame::headerRow(&card, QStringLiteral("Storage"),
                                                   KSTStyle::Headline, QString::fromUtf8(c.symbol),
                                                   QStringLiteral("blue"), c.symbolSize, c.spacing);
        QLabel *trailing =
            KSTStyle::label(QStringLiteral("9 GB of 10 GB used"), KSTStyle::Secondary, &card);
        row->addWidget(trailing);
        layout->addLayout(row);
        card.resize(CardWidth, 80);
        layout->activate();

        const auto symbols = card.findChildren<KSTSymbolView *>();
        const auto labels = card.findChildren<QLabel *>();
        ASSERT_EQ(labels.size(), 2);
        QLabel *title = labels.first() == trailing ? labels.last() : labels.first();
        EXPECT_EQ(title->text(), QStringLiteral("Storage"));
        EXPECT_EQ(title->property("kstRole").toString(), QLatin1String(KSTStyle::Headline));
        EXPECT_EQ(row->spacing(), c.spacing);
        if (*c.symbol) {
            ASSERT_EQ(symbols.size(), 1);
            EXPECT_EQ(symbols.first()->symbolName(), QString::fromUtf8(c.symbol));
            EXPECT_EQ(symbols.first()->x(), 20);
            EXPECT_EQ(title->x(), symbols.first()->geometry().right() + 1 + c.spacing);
        } else {
            EXPECT_TRUE(symbols.isEmpty());
            EXPECT_EQ(title->x(), 20);
        }
        EXPECT_EQ(trailing->geometry().right() + 1, CardWidth - 20);
    }
}

TEST(CardHeaderTest, AHeaderCardTakesItsLookAndMakesRoomOnlyForARunningIndicator)
{
    KSTHeaderCard::Look look;
    look.symbolSize = 20;
    look.tileSize = 40;
    look.titleRole = KSTStyle::Headline;
    look.subtitleRole = KSTStyle::Body;
    look.verticalMargin = 18;
    look.lineSpacing = 4;
    KSTHeaderCard card(QStringLiteral("gearshape.2.fill"), QStringLiteral("emerald"),
                       QStringLiteral("cardTitle"), QStringLiteral("cardSubtitle"), look);
    QLabel *extra = card.addTextLine(KSTStyle::Secondary);
    auto *control = new QWidget;
    control->setFixedSize(40, 22);
    card.addTrailingWidget(control);
    card.resize(CardWidth, 120);
    card.layout()->activate();

    EXPECT_EQ(card.titleLabel()->objectName(), QStringLiteral("cardTitle"));
    EXPECT_EQ(card.subtitleLabel()->objectName(), QStringLiteral("cardSubtitle"));
    EXPECT_EQ(card.titleLabel()->property("kstRole").toString(), QLatin1String(KSTStyle::Headline));
    EXPECT_EQ(card.subtitleLabel()->property("kstRole").toString(), QLatin1String(KSTStyle::Body));
    const auto symbols = card.findChildren<KSTSymbolView *>();
    ASSERT_EQ(symbols.size(), 1);
    EXPECT_EQ(symbols.first()->sizeHint(), QSize(40, 40));
    // The lines stack in order, the added one last, the given spacing apart.
    EXPECT_EQ(card.subtitleLabel()->y(), card.titleLabel()->geometry().bottom() + 1 + 4);
    EXPECT_EQ(extra->y(), card.subtitleLabel()->geometry().bottom() + 1 + 4);
    EXPECT_EQ(control->parentWidget(), &card);

    // An idle indicator is hidden and takes no room; a running one (18 px and the row's
    // spacing) narrows the lines, never moves the control off the margin.
    const int idleWidth = card.titleLabel()->width();
    EXPECT_EQ(control->geometry().right() + 1, CardWidth - 20);
    card.busyIndicator()->setRunning(true);
    card.layout()->activate();
    EXPECT_EQ(card.titleLabel()->width(), idleWidth - 18 - 16);
    EXPECT_EQ(control->geometry().right() + 1, CardWidth - 20);
    EXPECT_LT(card.busyIndicator()->geometry().right(), control->x());
    card.busyIndicator()->setRunning(false);
    card.layout()->activate();
    EXPECT_EQ(card.titleLabel()->width(), idleWidth);
}

} // namespace
