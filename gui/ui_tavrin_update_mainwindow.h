// The form holder of the main window: it creates the central widget and the one-entry menu bar, names them and sets
// their texts. The members keep their order, and the object names are an interface of their own.
#pragma once

#include "tavrin_update_bl.h"
#include "tavrin_update_widget.h"

#include <QAction>
#include <QApplication>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>

#include <cstdlib>

struct UI_TavrinUpdateMainWindow
{
    TavrinUpdateWidget* tavrinUpdateWidget;
    QMenuBar* menuBar;
    QMenu* menuFile;
    QAction* actionQuit;

    /** Fills the window; everything created becomes its child. */
    void setupUi(TavrinUpdateBusinessLogic& logic, QMainWindow* w)
    {
        w->setObjectName(QStringLiteral("tavrinUpdateMainWindow"));
        w->resize(700, 800);

        tavrinUpdateWidget = new TavrinUpdateWidget(logic, w);
        tavrinUpdateWidget->setObjectName(QStringLiteral("tavrinUpdateWidget"));
        w->setCentralWidget(tavrinUpdateWidget);

        menuBar = new QMenuBar(w);
        menuBar->setObjectName(QStringLiteral("menuBar"));
        menuBar->setNativeMenuBar(false);
        menuBar->setGeometry(QRect(0, 0, 762, 20));

        menuFile = new QMenu(menuBar);
        menuFile->setObjectName(QStringLiteral("menuFile"));
        w->setMenuBar(menuBar);
        menuBar->addAction(menuFile->menuAction());

        actionQuit = new QAction(w);
        actionQuit->setObjectName(QStringLiteral("actionQuit"));
        QObject::connect(actionQuit, &QAction::triggered, [](bool) { std::exit(0); });
        menuFile->addAction(actionQuit);

        QMetaObject::connectSlotsByName(w);
        retranslateUi(w);
    }

    /** Sets every text of the window again, its title included. */
    void retranslateUi(QMainWindow* w)
    {
        w->setWindowTitle(tavrinUpdateWidget->getWindowTitle());
        menuFile->setTitle(QApplication::tr("File"));
        actionQuit->setText(QApplication::tr("Quit"));
    }
};
