// Answers message boxes as a user would: it waits for one in front, notes what it says and presses the button that the
// test chose. A box that was not expected is closed with Escape and complained about, so that no test hangs in one.
#pragma once

#include <QList>
#include <QMessageBox>
#include <QObject>
#include <QString>
#include <QStringList>
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

    DialogAnswerer();

    /** Has the next message box answered with this button; NoButton is the Escape key. */
    DialogAnswerer& answer(QMessageBox::StandardButton button);

    /** The message boxes so far. */
    const QList<Dialog>& dialogs() const;

    /** Boxes that were not expected, and answers that were not asked for; empty when all is well. */
    QString complaint() const;

private slots:
    void lookForDialog();

private:
    QTimer timer;
    QList<QMessageBox::StandardButton> answers;
    QList<Dialog> seen;
    QStringList unexpected;
};
