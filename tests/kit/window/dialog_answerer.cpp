// The timer keeps running inside the message box's own event loop, which is where the box is answered.
#include "dialog_answerer.h"

#include <QApplication>
#include <QPushButton>
#include <QTest>

DialogAnswerer::DialogAnswerer()
{
    connect(&timer, SIGNAL(timeout()), this, SLOT(lookForDialog()));
    timer.start(5);
}

DialogAnswerer& DialogAnswerer::answer(QMessageBox::StandardButton button)
{
    answers << button;
    return *this;
}

const QList<DialogAnswerer::Dialog>& DialogAnswerer::dialogs() const
{
    return seen;
}

QString DialogAnswerer::complaint() const
{
    QStringList lines = unexpected;
    if (!answers.isEmpty()) {
        lines << QStringLiteral("%1 answers were not asked for").arg(answers.count());
    }
    return lines.join(QLatin1Char('\n'));
}

void DialogAnswerer::lookForDialog()
{
    auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    if (box == nullptr || !box->isVisible()) {
        return;
    }
    const Dialog dialog{box->windowTitle(),     box->text(),
                        box->detailedText(),    box->icon(),
                        box->standardButtons(), box->defaultButton() != nullptr,
                        box->parentWidget()};
    seen << dialog;
    if (answers.isEmpty()) {
        unexpected
            << QStringLiteral("unexpected message box '%1': %2 %3").arg(dialog.title, dialog.text, dialog.details);
        QTest::keyClick(box, Qt::Key_Escape);
        return;
    }
    const QMessageBox::StandardButton chosen = answers.takeFirst();
    QAbstractButton* button = box->button(chosen);
    if (chosen != QMessageBox::NoButton && button == nullptr) {
        unexpected << QStringLiteral("message box '%1' lacks the button to press").arg(dialog.text);
    }
    if (button == nullptr) {
        QTest::keyClick(box, Qt::Key_Escape);
    } else {
        QTest::mouseClick(button, Qt::LeftButton);
    }
}
