// Times the Duplicate Files results page (the view the screen shows, with its group list,
// category list and preview) on a made-up result of 50,000 groups: showing the result,
// ticking all groups and one group, switching categories, showing a group, and scrolling the
// whole list a page at a time. Run with QT_QPA_PLATFORM=offscreen; see README.md here.
#include "KSTDuplicateGroupDelegate.h"
#include "KSTDuplicateResultsView.h"
#include "KSTDuplicateReviewModel.h"
#include "KSTSyntheticDuplicates.h"
#include "KSTSystemInfo.h"

#include <QApplication>
#include <QCheckBox>
#include <QElapsedTimer>
#include <QListView>
#include <QListWidget>
#include <QMouseEvent>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QVBoxLayout>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <sys/resource.h>

namespace {

// Counts the paints a widget receives, so that every timed step is known to have drawn.
class PaintCounter : public QObject
{
public:
    int paints = 0;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Paint)
            ++paints;
        return QObject::eventFilter(watched, event);
    }
};

struct Row
{
    QString step;
    double median = 0; ///< milliseconds
    double worst = 0;
    int samples = 0;
    int overFrame = 0; ///< samples over 16 ms, one frame at 60 Hz
    QString note;
};

// Runs @p action, then delivers what it posted and paints what it made dirty, as the event
// loop would before the next frame.
double timed(const std::function<void()> &action)
{
    QElapsedTimer timer;
    timer.start();
    action();
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
    return double(timer.nsecsElapsed()) / 1e6;
}

void click(QWidget *widget, const QPoint &point)
{
    const QPointF local(point);
    const QPointF global(widget->mapToGlobal(point));
    QMouseEvent press(QEvent::MouseButtonPress, local, global, Qt::LeftButton, Qt::LeftButton,
                      Qt::NoModifier);
    QApplication::sendEvent(widget, &press);
    QMouseEvent release(QEvent::MouseButtonRelease, local, global, Qt::LeftButton, Qt::NoButton,
                        Qt::NoModifier);
    QApplication::sendEvent(widget, &release);
}

long peakResidentKiB()
{
    struct rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

} // namespace

int main(int argc, char **argv)
{
    KSTSyntheticDuplicates::Shape shape;
    bool scrolling = true;
    for (int index = 1; index < argc; ++index) {
        if (std::strcmp(argv[index], "--groups") == 0 && index + 1 < argc) {
            shape.groupCount = std::max(1, std::atoi(argv[++index]));
        } else if (std::strcmp(argv[index], "--one-category") == 0) {
            shape.singleCategory = true;
        } else if (std::strcmp(argv[index], "--no-scroll") == 0) {
            scrolling = false; // the clicks alone, for a profiler
        } else {
            std::fprintf(stderr, "usage: %s [--groups N] [--one-category] [--no-scroll]\n",
                         argv[0]);
            return 2;
        }
    }
    // Nothing the page remembers may land in the user's own settings.
    QTemporaryDir settings;
    qputenv("XDG_CONFIG_HOME", settings.path().toLocal8Bit());
    QApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("KestrelGroupListBench"));
    QApplication::setStyle(QStringLiteral("Fusion"));

    QElapsedTimer making;
    making.start();
    const auto snapshot = KSTSyntheticDuplicates::makeSnapshot(shape);
    const double madeIn = double(making.nsecsElapsed()) / 1e6;
    const long residentBeforeView = peakResidentKiB();

    KSTSystemInfo systemInfo;
    KSTDuplicateReviewModel review(systemInfo);
    QWidget window;
    window.resize(1180, 760);
    auto *layout = new QVBoxLayout(&window);
    layout->setContentsMargins(28, 20, 28, 24);
    auto *results = new KSTDuplicateResultsView(review, &window);
    layout->addWidget(results);
    window.show();
    QCoreApplication::processEvents();

    auto *groups = results->findChild<QListView *>(QStringLiteral("groupList"));
    auto *allGroups = results->findChild<QCheckBox *>(QStringLiteral("allGroupsBox"));
    auto *categories = results->findChild<QListWidget *>(QStringLiteral("categoryList"));
    if (!groups || !allGroups || !categories) {
        std::fprintf(stderr, "the results page has no group list, all-groups box or categories\n");
        return 1;
    }
    PaintCounter listPaints;
    groups->viewport()->installEventFilter(&listPaints);

    QList<Row> rows;
    constexpr int Repeats = 5;
    auto record = [&rows](const QString &step, QList<double> samples, const QString &note) {
        if (samples.isEmpty())
            return;
        std::sort(samples.begin(), samples.end());
        const auto overFrame =
            std::count_if(samples.begin(), samples.end(), [](double ms) { return ms > 16.0; });
        rows.append({step, samples.at(samples.size() / 2), samples.last(), int(samples.size()),
                     int(overFrame), note});
    };

    QList<double> samples;
    int before = listPaints.paints;
    for (int round = 0; round < Repeats; ++round) {
        // A copy is a new result, as a rescan delivers.
        const auto result = std::make_shared<KSTDuplicateSnapshot>(*snapshot);
        samples.append(timed([&] { review.setSnapshot(result); }));
    }
    record(QStringLiteral("show the result (list filled, first paint)"), samples,
           QStringLiteral("%1 groups listed, %2 list paints")
               .arg(groups->model()->rowCount())
               .arg(listPaints.paints - before));

    QList<double> ticks;
    QList<double> unticks;
    QString removeTitle;
    for (int round = 0; round < Repeats; ++round) {
        ticks.append(timed([&] { allGroups->click(); }));
        removeTitle = review.removeSelectedButtonTitle();
        unticks.append(timed([&] { allGroups->click(); }));
    }
    record(QStringLiteral("tick \"All groups\""), ticks, removeTitle);
    record(QStringLiteral("untick \"All groups\""), unticks,
           QStringLiteral("%1 ticked after").arg(review.selectedGroupKeys().size()));

    const QRect third = groups->visualRect(groups->model()->index(2, 0));
    const QPoint box = KSTDuplicateGroupDelegate::checkBoxRect(third).center();
    // The box ticked and unticked again, each click timed.
    const auto clickBoxTwiceEachRound = [&] {
        ticks.clear();
        for (int round = 0; round < Repeats * 2; ++round)
            ticks.append(timed([&] { click(groups->viewport(), box); }));
    };
    clickBoxTwiceEachRound();
    record(QStringLiteral("tick or untick one group"), ticks,
           QStringLiteral("%1 ticked after").arg(review.selectedGroupKeys().size()));

    // With everything ticked a single box costs the most: the button sums every tick.
    allGroups->click();
    QCoreApplication::processEvents();
    clickBoxTwiceEachRound();
    record(QStringLiteral("tick or untick one group, all others ticked"), ticks,
           QStringLiteral("%1 ticked after").arg(review.selectedGroupKeys().size()));

    samples.clear();
    for (int round = 0; round < 2; ++round) {
        for (int row = categories->count() - 1; row >= 0; --row)
            samples.append(timed([&] { categories->setCurrentRow(row); }));
    }
    record(QStringLiteral("switch category"), samples, QStringLiteral("each of the six, twice"));

    // Back to the category holding most groups, for showing groups and scrolling.
    int largest = 0;
    for (int row = 0; row < snapshot->categories.size(); ++row) {
        if (snapshot->categories.at(row).groups.size() >
            snapshot->categories.at(largest).groups.size())
            largest = row;
    }
    categories->setCurrentRow(largest);
    QCoreApplication::processEvents();
    const int listed = groups->model()->rowCount();

    samples.clear();
    for (int round = 0; round < 2; ++round) {
        for (int row = 1; row <= 9; row += 2) {
            const QRect rect = groups->visualRect(groups->model()->index(row, 0));
            samples.append(timed([&] { click(groups->viewport(), rect.center()); }));
        }
    }
    // The last group of the list, far from where a walk would start.
    samples.append(timed([&] { groups->setCurrentIndex(groups->model()->index(listed - 1, 0)); }));
    record(QStringLiteral("show a group in the preview"), samples,
           QStringLiteral("clicks on a row; the last: %1")
               .arg(review.selectedGroup() ? review.selectedGroup()->fileName
                                           : QStringLiteral("none")));

    QScrollBar *scroll = groups->verticalScrollBar();
    QList<double> pages;
    auto scrollThrough = [&] {
        pages.clear();
        scroll->setValue(0);
        QCoreApplication::processEvents();
        const int paintsBefore = listPaints.paints;
        while (scrolling && scroll->value() < scroll->maximum()) {
            pages.append(timed([&] { scroll->setValue(scroll->value() + scroll->pageStep()); }));
        }
        std::sort(pages.begin(), pages.end());
        return listPaints.paints - paintsBefore;
    };
    int paints = scrollThrough();
    record(QStringLiteral("scroll one page and paint it"), pages,
           QStringLiteral("%1 rows, %2 list paints").arg(listed).arg(paints));
    allGroups->click();
    QCoreApplication::processEvents();
    paints = scrollThrough();
    record(QStringLiteral("scroll one page and paint it, all ticked"), pages,
           QStringLiteral("%1 list paints").arg(paints));

    std::printf("Duplicate group list: %d groups (%s), %llu files, list %dx%d px, %d rows a page\n",
                shape.groupCount, shape.singleCategory ? "one category" : "six categories",
                static_cast<unsigned long long>(snapshot->filesScanned / 3),
                groups->viewport()->width(), groups->viewport()->height(),
                groups->viewport()->height() / KSTDuplicateGroupDelegate::RowHeight);
    std::printf("result made in memory in %.0f ms\n\n", madeIn);
    std::printf("| %-44s | %7s | %7s | %5s | %6s | %s\n", "step", "median", "worst", "runs",
                ">16 ms", "");
    std::printf("|%s|%s|%s|%s|%s|\n", QByteArray(46, '-').constData(),
                QByteArray(9, '-').constData(), QByteArray(9, '-').constData(),
                QByteArray(7, '-').constData(), QByteArray(8, '-').constData());
    for (const Row &row : rows) {
        std::printf("| %-44s | %7.2f | %7.2f | %5d | %6d | %s\n", row.step.toUtf8().constData(),
                    row.median, row.worst, row.samples, row.overFrame,
                    row.note.toUtf8().constData());
    }
    std::printf("(milliseconds, each from the action to its paint)\n");
    std::printf("\npeak resident size: %.1f MiB (%.1f MiB once the result was made)\n",
                double(peakResidentKiB()) / 1024.0, double(residentBeforeView) / 1024.0);
    return 0;
}
