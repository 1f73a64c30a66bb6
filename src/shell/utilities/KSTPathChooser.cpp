#include "KSTPathChooser.h"

#include <QFileDialog>
#include <QMenu>
#include <QWidget>

QStringList KSTPathChooser::ask(QWidget *button, const QString &title)
{
    QMenu menu(button);
    const QAction *files = menu.addAction(QStringLiteral("Files…"));
    const QAction *folder = menu.addAction(QStringLiteral("Folder…"));
    const QAction *chosen = menu.exec(button->mapToGlobal(QPoint(0, button->height())));
    if (chosen == files)
        return QFileDialog::getOpenFileNames(button, title);
    if (chosen == folder) {
        const QString path = QFileDialog::getExistingDirectory(button, title);
        return path.isEmpty() ? QStringList() : QStringList{path};
    }
    return {};
}
