// The base of the tests that have the window's classes in their own process, on the offscreen platform.
#pragma once

#include "dialog_answerer.h"
#include "test.h"

#include <memory>

/** Besides unexpected warnings, message boxes that no one expected fail its test functions. */
class WindowTest : public Test
{
    Q_OBJECT

protected:
    void setUp() override;
    QString complaint() const override;

    std::unique_ptr<DialogAnswerer> dialogs;

private slots:
    void initTestCase();
};
