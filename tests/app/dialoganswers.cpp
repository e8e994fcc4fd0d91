#include "app/dialoganswers.h"

#include <QAbstractButton>
#include <QApplication>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QTimer>

namespace {

constexpr int kPollIntervalMs = 10;

// Calls `answer` with the next modal window of that type which `isMeant`.
template <typename Dialog, typename IsMeant, typename Answer>
void whenOpen(IsMeant isMeant, Answer answer)
{
    auto* poll = new QTimer(qApp);
    QObject::connect(poll, &QTimer::timeout, poll, [poll, isMeant, answer] {
        auto* dialog = qobject_cast<Dialog*>(QApplication::activeModalWidget());
        if (!dialog || !isMeant(dialog))
            return;
        poll->stop();
        poll->deleteLater();
        answer(dialog);
    });
    poll->start(kPollIntervalMs);
}

template <typename Dialog, typename Answer>
void whenOpen(Answer answer)
{
    whenOpen<Dialog>([](const Dialog*) { return true; }, answer);
}

QLineEdit* nameEdit(const QFileDialog* dialog)
{
    return dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
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
        nameEdit(dialog)->setText(path);
        QMetaObject::invokeMethod(dialog, "accept");
    });
}

void dialog_answers::acceptProposal(const QString& name)
{
    whenOpen<QFileDialog>(
        [name](const QFileDialog* dialog) { return nameEdit(dialog)->text() == name; },
        [](QFileDialog* dialog) {
            QMetaObject::invokeMethod(dialog, "accept");
            if (dialog->isVisible())
                dialog->reject();
        });
}
