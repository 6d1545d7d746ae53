// The central widget of the window: it shows the patches with their applied state and the running real-time systems,
// decides from the latter whether patches may be applied, and passes the business logic's progress and failures to the
// user. It uses neither the network nor the file system. The table of running systems is filled again every second.
#pragma once

#include <QPalette>
#include <QTimer>
#include <QWidget>

class QTreeWidgetItem;
class TavrinUpdateBusinessLogic;
struct Pidrtsys;
struct UI_TavrinUpdateWidget;

class TavrinUpdateWidget : public QWidget
{
    Q_OBJECT

public:
    /**
     * Builds the form and connects it to the business logic, which must outlive the widget. Tree and table stay empty,
     * and the refresh does not start, until the first patchListReady().
     */
    explicit TavrinUpdateWidget(TavrinUpdateBusinessLogic& businessLogic, QWidget* parent = nullptr);

    /** The title for the window around this widget. */
    QString getWindowTitle() const;

    /** Shows or hides the warning and the label "No new patches", and enables or disables the Apply button. */
    void enableApplyButton();

    /**
     * The first patch shown under exactly this name; null when there is none. Required, though nothing in this program
     * calls it.
     */
    QTreeWidgetItem* getTopLevelItem(QString name) const;

public slots: // in the order in which the meta-object numbers them, and with the one parameter name that it records
    void appendProgress(const QString&);
    /** Asks first while a conflicting system runs, then has the missing patches applied. */
    void on_applyButton_clicked();
    void on_defaultUrlButton_clicked();
    /** Ends the process with status 0. */
    void on_doneButton_clicked();
    void on_overrideCautionCheckBox_stateChanged(int state);
    /** Fills the tree with the list of patches; the first call also starts the refresh of the table. */
    void populateUpdateList();
    /** Shows a failure in a message box and waits until it is closed. */
    void presentErrorMessage(const QString&);
    /** Brings the applied marks of the patches shown up to date. */
    void refreshPatchStatus();
    void refreshRealTimeSystemTable();
    void on_urlLineEdit_editingFinished();

protected:
    void changeEvent(QEvent* event) override;
    void showEvent(QShowEvent* event) override; // required, though it only calls the base class

private:
    bool patchIsShown(const QString& name) const;
    void setUrl(const QString& url);
    void fillRealTimeSystemTable(const Pidrtsys* systems, int count);
    void nameForAssistiveTechnology();

    UI_TavrinUpdateWidget* ui; // lives until the process ends
    TavrinUpdateBusinessLogic& logic;
    bool safeToApply;
    QPalette labelPalette;
    QTimer rtsTimer;
};
