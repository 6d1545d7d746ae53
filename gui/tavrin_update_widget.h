// The central widget of the window: it shows the patches with their applied state and the running real-time systems,
// decides from the latter whether patches may be applied, and passes the business logic's progress and failures to the
// user. It touches neither the network nor the file system; the table of running systems is read anew every second.
#pragma once

#include <QList>
#include <QPalette>
#include <QTimer>
#include <QWidget>

class QLabel;
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

    /** Shows what may be done now: the warning, the label that says there is nothing to do, the Apply button. */
    void enableApplyButton();

    /** The first patch shown under exactly this name; null when there is none. */
    QTreeWidgetItem* getTopLevelItem(QString name) const;

public slots: // in the order in which the meta-object numbers them, and with the one parameter name that it records
    void appendProgress(const QString&);
    /** Asks where that is due, then has the missing patches applied. */
    void on_applyButton_clicked();
    void on_defaultUrlButton_clicked();
    /** Ends the process with status 0. */
    void on_doneButton_clicked();
    void on_overrideCautionCheckBox_stateChanged(int state);
    /** Shows the list of patches from its start; the first call also starts the refresh of the table. */
    void populateUpdateList();
    /** Shows a failure in a message box and waits until it is closed. */
    void presentErrorMessage(const QString&);
    /** Brings the applied marks of the patches shown up to date. */
    void refreshPatchStatus();
    void refreshRealTimeSystemTable();
    void on_urlLineEdit_editingFinished();

protected:
    void changeEvent(QEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    bool patchIsShown(const QString& name) const;
    void setUrl(const QString& url);
    void addPatches(const QList<QTreeWidgetItem*>& items, const QList<QLabel*>& labels);
    void fillRealTimeSystemTable(const Pidrtsys* systems, int count);
    void nameForAssistiveTechnology();

    UI_TavrinUpdateWidget* ui; // lives until the process ends
    TavrinUpdateBusinessLogic& logic;
    bool safeToApply;
    QPalette labelPalette;
    QTimer rtsTimer;
};
