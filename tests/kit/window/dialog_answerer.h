// Answers message boxes as a user would: it waits for one, records what it says and presses the button that the test
// chose. A box that was not expected is closed with Escape and fails the test, so that no test hangs in one. The timer
// runs in the event loop of the message box.
#pragma once

#include <QApplication>
#include <QList>
#include <QMessageBox>
#include <QObject>
#include <QPushButton>
#include <QString>
#include <QStringList>
#include <QTest>
#include <QTimer>

class DialogAnswerer : public QObject
{
    Q_OBJECT

public:
    /** What a message box said. */
    struct Dialog
    {
        QString title;
        QString text;
        QString details;
        QMessageBox::Icon icon;
        QMessageBox::StandardButtons buttons;
        bool hasDefaultButton;
        QWidget* parent;
    };

    DialogAnswerer()
    {
        connect(&timer, SIGNAL(timeout()), this, SLOT(lookForDialog()));
        timer.start(5);
    }

    /** Has the next message box answered with this button; NoButton is the Escape key. */
    DialogAnswerer& answer(QMessageBox::StandardButton button)
    {
        answers << button;
        return *this;
    }

    /** The message boxes so far. */
    const QList<Dialog>& dialogs() const
    {
        return seen;
    }

    /** Boxes that were not expected, and answers that were not asked for; empty when all is well. */
    QString complaint() const
    {
        QStringList lines = unexpected;
        if (!answers.isEmpty()) {
            lines << QString("%1 answers were not asked for").arg(answers.count());
        }
        return lines.join('\n');
    }

private slots:
    void lookForDialog()
    {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (box == nullptr || !box->isVisible()) {
            return;
        }
        seen << Dialog{box->windowTitle(),     box->text(),
                       box->detailedText(),    box->icon(),
                       box->standardButtons(), box->defaultButton() != nullptr,
                       box->parentWidget()};
        const bool isExpected = !answers.isEmpty();
        if (!isExpected) {
            unexpected << QString("unexpected message box '%1': %2 %3")
                              .arg(box->windowTitle(), box->text(), box->detailedText());
        }
        const QMessageBox::StandardButton chosen = isExpected ? answers.takeFirst() : QMessageBox::NoButton;
        if (chosen == QMessageBox::NoButton) {
            QTest::keyClick(box, Qt::Key_Escape);
        } else if (box->button(chosen) != nullptr) {
            QTest::mouseClick(box->button(chosen), Qt::LeftButton);
        } else {
            unexpected << QString("message box '%1' lacks the button to press").arg(box->text());
            QTest::keyClick(box, Qt::Key_Escape);
        }
    }

private:
    QTimer timer;
    QList<QMessageBox::StandardButton> answers;
    QList<Dialog> seen;
    QStringList unexpected;
};
