// The top-level window of the window mode: a menu bar with one entry, and the update widget, which does all the work.
#pragma once

#include <QMainWindow>

class TavrinUpdateBusinessLogic;
struct UI_TavrinUpdateMainWindow;

class TavrinUpdateMainWindow : public QMainWindow
{
    Q_OBJECT

public:
    /** Builds the window around the business logic, which must outlive it; it is not shown. */
    explicit TavrinUpdateMainWindow(TavrinUpdateBusinessLogic& logic, QWidget* parent = nullptr);

protected:
    /** Keeps the keys that quit from the address field. */
    bool eventFilter(QObject* watched, QEvent* event) override;
    /** Ctrl+Q and Meta+Q end the process at once with status 0. */
    void keyPressEvent(QKeyEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    UI_TavrinUpdateMainWindow* ui; // lives until the process ends
};
