#include "app/dialoganswers.h"

#include <QAbstractButton>
#include <QApplication>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QTimer>

namespace {

constexpr int kPollIntervalMs = 10;

// Calls `answer` with the next modal window of that type.
template <typename Dialog, typename Answer>
void whenOpen(Answer answer)
{
    auto* poll = new QTimer(qApp);
    QObject::connect(poll, &QTimer::timeout, poll, [poll, answer] {
        auto* dialog = qobject_cast<Dialog*>(QApplication::activeModalWidget());
        if (!dialog)
            return;
        poll->stop();
        poll->deleteLater();
        answer(dialog);
    });
    poll->start(kPollIntervalMs);
}

} // namespace

void dialog_answers::pressInNextBox(const QString& text, QStringList* seen)
{
    whenOpen<QMessageBox>([text, seen](QMessageBox* box) {
        seen->append(box->windowTitle());
        seen->append(box->text());
        for (QAbstractButton* button : box->buttons()) {
            seen->append(button->text());
            if (button->text() == text)
                button->click();
        }
    });
}

void dialog_answers::chooseInNextFileDialog(const QString& path, QString* folder)
{
    whenOpen<QFileDialog>([path, folder](QFileDialog* dialog) {
        if (folder)
            *folder = dialog->directory().absolutePath();
        if (path.isEmpty()) {
            dialog->reject();
            return;
        }
        dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))->setText(path);
        QMetaObject::invokeMethod(dialog, "accept");
    });
}
