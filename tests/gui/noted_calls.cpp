// The linker uses these definitions for calls from the test program and its forms, instead of those in the Qt library.
// Each records the call and passes it on.
#include "noted_calls.h"

#include <QMenuBar>
#include <QWidget>

#include <dlfcn.h>

namespace {

// A member function is called like a plain one whose first argument is the object.
template <typename Function>
Function inLibrary(const char* mangledName)
{
    void* symbol = dlsym(RTLD_NEXT, mangledName);
    if (symbol == nullptr) {
        qFatal("the Qt library has no %s", mangledName);
    }
    return reinterpret_cast<Function>(symbol);
}

} // namespace

NotedCalls& notedCalls()
{
    static NotedCalls calls;
    return calls;
}

void QMenuBar::setNativeMenuBar(bool nativeMenuBar)
{
    notedCalls().nativeMenuBar << nativeMenuBar;
    inLibrary<void (*)(QMenuBar*, bool)>("_ZN8QMenuBar16setNativeMenuBarEb")(this, nativeMenuBar);
}

void QWidget::setGeometry(const QRect& rect)
{
    notedCalls().geometries.insert(objectName(), rect);
    inLibrary<void (*)(QWidget*, const QRect&)>("_ZN7QWidget11setGeometryERK5QRect")(this, rect);
}
