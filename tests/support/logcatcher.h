#pragma once

#include <QList>
#include <QString>
#include <QtGlobal>

#include <memory>

/// Collects every line that goes through the toolkit's message logger while it
/// lives, from any thread. A warning or worse that nobody claimed fails the
/// running test when the catcher is destroyed, so a suite makes one in `init()`
/// and drops it in `cleanup()`. Only one may live at a time.
class LogCatcher {
public:
    struct Line {
        QtMsgType type = QtDebugMsg;
        QString category;
        QString text;
        bool claimed = false;
    };

    LogCatcher();
    ~LogCatcher();
    Q_DISABLE_COPY_MOVE(LogCatcher)

    /// Claims every line whose text equals `text`; returns how many there were.
    int take(QtMsgType type, const QString& text);

    /// Claims every line whose text contains `fragment`; returns how many.
    int takeContaining(QtMsgType type, const QString& fragment);

    /// From now on, and for lines already caught: lines of that type containing
    /// `fragment` are expected to come or not, and never fail the test.
    void tolerate(QtMsgType type, const QString& fragment);

    /// All texts of that type so far, claimed or not, in order.
    [[nodiscard]] QStringList texts(QtMsgType type) const;

    /// Unclaimed warnings and criticals, each as one text.
    [[nodiscard]] QStringList unexpected() const;

private:
    struct State;
    static void handle(QtMsgType type, const QMessageLogContext& context, const QString& text);

    std::unique_ptr<State> d;
};
