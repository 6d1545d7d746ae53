// The main window's few actions: the keys that quit, and new texts when the language changes.
#include "tavrin_update_mainwindow.h"

#include "ui_tavrin_update_mainwindow.h"

#include <QEvent>
#include <QKeyEvent>

#include <cstdlib>

TavrinUpdateMainWindow::TavrinUpdateMainWindow(TavrinUpdateBusinessLogic& logic, QWidget* parent)
    : QMainWindow(parent), ui(new UI_TavrinUpdateMainWindow)
{
    ui->setupUi(logic, this);
    setWindowTitle(logic.getWindowTitle());
}

void TavrinUpdateMainWindow::keyPressEvent(QKeyEvent* event)
{
    if (event->type() == QEvent::KeyPress && event->key() == Qt::Key_Q &&
        (event->modifiers() & (Qt::ControlModifier | Qt::MetaModifier))) {
        // At once, even in the middle of a download: nothing is closed and nothing is cleaned up.
        std::exit(0);
    }
    QWidget::keyPressEvent(event);
}

void TavrinUpdateMainWindow::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::LanguageChange) {
        ui->retranslateUi(this);
    }
    QMainWindow::changeEvent(event);
}
