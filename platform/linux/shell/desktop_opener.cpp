#include "platform/linux/shell/desktop_opener.hpp"

#include <QElapsedTimer>
#include <QProcess>
#include <QStandardPaths>

#include "base/log.hpp"
#include "platform/linux/shell/large_pages.hpp"

namespace quillon {

bool DesktopOpener::openFile(const std::filesystem::path& file) {
    const auto program = QStandardPaths::findExecutable(QStringLiteral("xdg-open"));
    const auto tellWhere = [this, file] {
        Log::write("cannot open " + file.string() + ": no program for it");
        dialogs_.tell(
            {.message = "No program to open the file with", .information = "The file is\n" + file.string()});
    };
    if (program.isEmpty()) {
        tellWhere();
        return false;
    }
    auto* const process = new QProcess;
    QElapsedTimer since;
    since.start();
    process->setStandardOutputFile(QProcess::nullDevice());
    process->setStandardErrorFile(QProcess::nullDevice());
    process->setChildProcessModifier([] { useLargePages(true); });
    QObject::connect(process, &QProcess::finished, process,
                     [process, tellWhere, since, limit = longestFailing_](int status) {
                         if (status != 0 && std::chrono::milliseconds(since.elapsed()) < limit) tellWhere();
                         process->deleteLater();
                     });
    QObject::connect(process, &QProcess::errorOccurred, process,
                     [process, tellWhere](QProcess::ProcessError error) {
                         if (error != QProcess::FailedToStart) return;  // those that ran have finished
                         tellWhere();
                         process->deleteLater();
                     });
    process->start(program, {QString::fromStdString(file.string())});
    return true;
}

}  // namespace quillon
