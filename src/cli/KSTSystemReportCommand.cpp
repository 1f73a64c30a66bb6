#include "KSTSystemReportCommand.h"

#include "KSTDispatch.h"
#include "KSTSystemReportExport.h"
#include "KSTSystemReportModel.h"
#include "KSTSystemReportService.h"
#include "KSTTerminalText.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>

#include <optional>
#include <unistd.h>

namespace {

using Export = KSTSystemReportExport;

// Every tool has a time-out of at most 15 s and the weekly report is bounded too; a report
// that never comes (no engine installed) must not hang the command for ever.
constexpr int ReportTimeoutMs = 30 * 60 * 1000;

struct Destination
{
    QString path;
    Export::Format format = Export::Format::Text;
};

QJsonObject reportJson(const KSTSystemReportSnapshot &snapshot)
{
    QJsonArray cards;
    for (const KSTReportSummaryCard &card : snapshot.summaryCards)
        cards.append(QJsonObject{{QStringLiteral("title"), card.title},
                                 {QStringLiteral("symbolName"), card.symbolName},
                                 {QStringLiteral("iconColor"), card.iconColor},
                                 {QStringLiteral("value"), card.value},
                                 {QStringLiteral("detail"), card.detail}});
    QJsonArray sections;
    for (const KSTReportSection &section : snapshot.sections) {
        QJsonArray rows;
        for (const KSTReportRow &row : section.rows)
            rows.append(QJsonObject{{QStringLiteral("label"), row.label()},
                                    {QStringLiteral("value"), row.value()},
                                    {QStringLiteral("valueStyle"), row.valueStyle()}});
        sections.append(QJsonObject{{QStringLiteral("title"), section.title},
                                    {QStringLiteral("symbolName"), section.symbolName},
                                    {QStringLiteral("iconColor"), section.iconColor},
                                    {QStringLiteral("subtitle"), section.subtitle},
                                    {QStringLiteral("rows"), rows}});
    }
    return {{QStringLiteral("generatedAt"), snapshot.generatedAt.toUTC().toString(Qt::ISODate)},
            {QStringLiteral("machineTitle"), snapshot.machineTitle},
            {QStringLiteral("generatedSubtitle"), snapshot.generatedSubtitle},
            {QStringLiteral("summaryCards"), cards},
            {QStringLiteral("sections"), sections}};
}

// The report with every text that came from the analysed machine made safe for a terminal: a
// value holding a newline or an escape sequence must neither forge lines nor drive it.
KSTSystemReportSnapshot terminalSafe(const KSTSystemReportSnapshot &snapshot)
{
    using KSTTerminalText::escaped;
    KSTSystemReportSnapshot safe = snapshot;
    safe.machineTitle = escaped(snapshot.machineTitle);
    safe.generatedSubtitle = escaped(snapshot.generatedSubtitle);
    for (KSTReportSummaryCard &card : safe.summaryCards) {
        card.value = escaped(card.value);
        card.detail = escaped(card.detail);
    }
    for (KSTReportSection &section : safe.sections) {
        section.subtitle = escaped(section.subtitle);
        for (KSTReportRow &row : section.rows)
            row = KSTReportRow::rowWithLabel(row.label(), escaped(row.value()), row.valueStyle());
    }
    return safe;
}

// Where the report goes; a usage error (exit 2) in @p usage when the names disagree.
std::optional<Destination> destinationFor(const QString &output,
                                          const std::optional<Export::Format> &format,
                                          QString *usage, bool *missingFolder)
{
    const QFileInfo info(output);
    if (output.endsWith(QLatin1Char('/')) && !info.isDir()) {
        *missingFolder = true;
        return std::nullopt;
    }
    if (info.isDir()) {
        const Export::Format chosen = format.value_or(Export::Format::Text);
        return Destination{QDir(output).filePath(KSTSystemReportModel::suggestedFileName(chosen)),
                           chosen};
    }
    const std::optional<Export::Format> byName =
        KSTSystemReportModel::formatForExtension(info.suffix());
    if (!byName) {
        *usage = QStringLiteral("the report is saved as .txt or .pdf, not '%1'").arg(output);
        return std::nullopt;
    }
    if (format && *format != *byName) {
        *usage = QStringLiteral("--format %1 does not match '%2'")
                     .arg(Export::extension(*format), output);
        return std::nullopt;
    }
    return Destination{output, *byName};
}

// Runs the screen's model to its final report; false when none came.
bool collect(KSTCliContext &context, KSTSystemReportModel &model)
{
    const bool showProgress = ::isatty(STDERR_FILENO) == 1;
    QTextStream &err = context.err();
    if (showProgress)
        QObject::connect(&model, &KSTSystemReportModel::updateArrived, &model, [&model, &err] {
            if (model.isComplete())
                return;
            err << "\rCollecting the system report\u2026 " << model.updateCount() << " of 7";
            err.flush();
        });
    model.show();
    const bool arrived =
        KSTDispatch::runMainLoopUntil([&model] { return !model.isFetching(); }, ReportTimeoutMs);
    if (showProgress) {
        err << "\r\033[K";
        err.flush();
    }
    return arrived && model.isComplete();
}

} // namespace

int kstRunSystemReportCommand(KSTCliContext &context)
{
    bool outputOk = true;
    bool formatOk = true;
    const std::optional<QString> output = context.takeOption(QStringLiteral("--output"), &outputOk);
    const std::optional<QString> formatName =
        context.takeOption(QStringLiteral("--format"), &formatOk);
    const bool force = context.takeFlag(QStringLiteral("--force"));
    if (!outputOk || !formatOk)
        return context.usageError(QStringLiteral("--output and --format need a value"));
    if (!context.arguments().isEmpty())
        return context.usageError(
            QStringLiteral("report takes no argument '%1'").arg(context.arguments().first()));
    if (!output && (formatName || force))
        return context.usageError(QStringLiteral("--format and --force go with --output"));
    std::optional<Export::Format> format;
    if (formatName) {
        format = KSTSystemReportModel::formatForExtension(*formatName);
        if (!format)
            return context.usageError(
                QStringLiteral("--format is txt or pdf, not '%1'").arg(*formatName));
    }
    std::optional<Destination> destination;
    if (output) {
        QString usage;
        bool missingFolder = false;
        destination = destinationFor(*output, format, &usage, &missingFolder);
        if (missingFolder)
            return context.failure({QStringLiteral("KSTSystemReport"),
                                    3,
                                    QStringLiteral("The folder %1 does not exist.").arg(*output),
                                    {}});
        if (!destination)
            return context.usageError(usage);
        if (QFileInfo::exists(destination->path) && !force)
            return context.failure(
                {QStringLiteral("KSTSystemReport"),
                 1,
                 QStringLiteral("%1 exists; add --force to replace it.").arg(destination->path),
                 {}});
    }

    // The window's model: the same fetch, the same export and its failure texts.
    KSTSystemReportModel model(KSTSystemReportService::shared());
    if (!collect(context, model))
        return context.failure({QStringLiteral("KSTSystemReport"),
                                2,
                                QStringLiteral("The report did not arrive."),
                                {}});
    const KSTSystemReportService::SnapshotPtr report = model.snapshot();
    if (!destination) {
        if (context.json())
            context.printJson(reportJson(*report));
        else
            context.out() << terminalSafe(*report).plainTextExport();
        return KSTCliContext::Success;
    }
    KSTError error;
    if (!model.exportToPath(destination->path, destination->format, &error))
        return context.failure(error);
    context.talk() << "Saved " << destination->path << "\n";
    context.talk().flush();
    if (context.json())
        context.printJson(reportJson(*report));
    return KSTCliContext::Success;
}
