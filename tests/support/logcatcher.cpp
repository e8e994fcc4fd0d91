#include "support/logcatcher.h"

#include <QMutex>
#include <QStringList>
#include <QTest>

#include <cstdio>

namespace {

QMutex catcherLock;
LogCatcher* current = nullptr;

} // namespace

struct LogCatcher::State {
    QList<Line> lines;
    QList<std::pair<QtMsgType, QString>> tolerated;
    QtMessageHandler previous = nullptr;

    [[nodiscard]] bool isTolerated(const Line& line) const
    {
        // What the screen without a screen says of itself is nobody's fault.
        if (line.text.startsWith(QLatin1String("This plugin does not support")))
            return true;
        for (const auto& [type, fragment] : tolerated) {
            if (line.type == type && line.text.contains(fragment))
                return true;
        }
        return false;
    }
};

LogCatcher::LogCatcher()
    : d(std::make_unique<State>())
{
    {
        const QMutexLocker lock(&catcherLock);
        Q_ASSERT(!current);
        current = this;
    }
    d->previous = qInstallMessageHandler(&LogCatcher::handle);
}

LogCatcher::~LogCatcher()
{
    qInstallMessageHandler(d->previous);
    const QStringList left = unexpected();
    {
        const QMutexLocker lock(&catcherLock);
        current = nullptr;
    }
    if (!left.isEmpty()) {
        const QByteArray report = "unexpected in the log: " + left.join(u" | ").toUtf8();
        QTest::qFail(report.constData(), __FILE__, __LINE__);
    }
}

void LogCatcher::handle(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    const QMutexLocker lock(&catcherLock);
    if (type == QtFatalMsg || !current) {
        std::fprintf(stderr, "%s\n", qPrintable(text));
        return;
    }
    current->d->lines.append({type, QString::fromUtf8(context.category), text, false});
}

int LogCatcher::take(QtMsgType type, const QString& text)
{
    const QMutexLocker lock(&catcherLock);
    int count = 0;
    for (Line& line : d->lines) {
        if (line.type == type && !line.claimed && line.text == text) {
            line.claimed = true;
            ++count;
        }
    }
    return count;
}

int LogCatcher::takeContaining(QtMsgType type, const QString& fragment)
{
    const QMutexLocker lock(&catcherLock);
    int count = 0;
    for (Line& line : d->lines) {
        if (line.type == type && !line.claimed && line.text.contains(fragment)) {
            line.claimed = true;
            ++count;
        }
    }
    return count;
}

void LogCatcher::tolerate(QtMsgType type, const QString& fragment)
{
    const QMutexLocker lock(&catcherLock);
    d->tolerated.append({type, fragment});
}

QStringList LogCatcher::texts(QtMsgType type) const
{
    const QMutexLocker lock(&catcherLock);
    QStringList found;
    for (const Line& line : d->lines) {
        if (line.type == type)
            found.append(line.text);
    }
    return found;
}

QStringList LogCatcher::unexpected() const
{
    const QMutexLocker lock(&catcherLock);
    QStringList left;
    for (const Line& line : d->lines) {
        const bool serious = line.type == QtWarningMsg || line.type == QtCriticalMsg;
        if (serious && !line.claimed && !d->isTolerated(line))
            left.append(line.text);
    }
    return left;
}
