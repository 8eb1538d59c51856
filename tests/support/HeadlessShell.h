#pragma once
// The built nexo-shell run as cron, a systemd timer or an ssh session runs it.
#include <QProcess>
#include <QString>
#include <QStringList>

namespace NexoFrame {

// nexo-shell with `args` and no display at all (no DISPLAY, WAYLAND_DISPLAY or QT_QPA_PLATFORM).
// Its exit code (-1: it did not end in time, -2: it crashed), and what it said on either channel.
inline int runShell(const QStringList& args, QString* said, int timeoutMs = 180000)
{
    QProcess p;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const char* v : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) env.remove(QString::fromLatin1(v));
    p.setProcessEnvironment(env);
    p.setProcessChannelMode(QProcess::MergedChannels);
    p.start(qEnvironmentVariable("NEXO_TEST_BIN") + QStringLiteral("/nexo-shell"), args);
    if (!p.waitForFinished(timeoutMs)) return -1;
    const QString out = QString::fromUtf8(p.readAll());
    if (said) *said = out;
    return p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -2;
}

} // namespace NexoFrame
