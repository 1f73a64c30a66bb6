// kst_fixture_linux: builds a lived-in Debian 12 GNOME desktop under a temporary folder and
// prints its root, for screenshots and for trying the program by hand
// (`kestrel --root ROOT --layout linux …`).
//
//   kst_fixture_linux [--user LOGIN]
//
// The machine is KSTDebianDesktop's: one user (alice unless --user is given) with packaged,
// Flatpak, snap and AppImage applications, documents, pictures, videos and a Trash. The
// folder is left on disk; remove it when done.
#include "KSTDebianDesktop.h"
#include "KSTFixtureLinux.h"

#include <QCoreApplication>
#include <QStringList>
#include <QTextStream>

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    QString login = QStringLiteral("alice");
    for (qsizetype index = 1; index < arguments.size(); ++index) {
        if (arguments.at(index) == QLatin1String("--user") && index + 1 < arguments.size()) {
            login = arguments.at(++index);
        } else {
            QTextStream(stderr) << "usage: kst_fixture_linux [--user LOGIN]\n";
            return 2;
        }
    }
    KSTFixtureLinux machine(login);
    if (!machine.isValid()) {
        QTextStream(stderr) << "kst_fixture_linux: no temporary folder\n";
        return 1;
    }
    KSTDebianDesktop::populate(machine);
    QTextStream(stdout) << machine.keep() << '\n';
    return 0;
}
