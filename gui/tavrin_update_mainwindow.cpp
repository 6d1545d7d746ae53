// The main window's few actions: the keys that quit, and new texts when the language changes. The keys come to the
// window when the widget with the focus ignores them; only an address that can be edited would not.
#include "tavrin_update_mainwindow.h"

#include "ui_tavrin_update_mainwindow.h"

#include <QEvent>
#include <QKeyEvent>
#include <QLineEdit>

#include <cstdlib>

namespace {

bool isQuitKey(const QEvent& event)
{
    if (event.type() != QEvent::KeyPress) {
        return false;
    }
    const auto& press = static_cast<const QKeyEvent&>(event);
    return press.key() == Qt::Key_Q && (press.modifiers() & (Qt::ControlModifier | Qt::MetaModifier)) != 0;
}

} // namespace

TavrinUpdateMainWindow::TavrinUpdateMainWindow(TavrinUpdateBusinessLogic& logic, QWidget* parent)
    : QMainWindow(parent), ui(new UI_TavrinUpdateMainWindow)
{
    ui->setupUi(logic, this);
    setWindowTitle(logic.getWindowTitle());
    findChild<QLineEdit*>(QStringLiteral("urlLineEdit"))->installEventFilter(this);
}

bool TavrinUpdateMainWindow::eventFilter(QObject* watched, QEvent* event)
{
    if (isQuitKey(*event)) {
        event->ignore(); // the field would take Meta+Q for the letter; ignored, the key goes on to keyPressEvent()
        return true;
    }
    return QMainWindow::eventFilter(watched, event);
}

void TavrinUpdateMainWindow::keyPressEvent(QKeyEvent* event)
{
    if (isQuitKey(*event)) {
        std::exit(0); // required to end at once, even during a download; nothing is closed or cleaned up
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
