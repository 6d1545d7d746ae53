// The X server keeps its screen in a file in the format of xwd: a header, the colours and the lines of the screen. The
// pictures are read from there. A server that does not start is not the result of a test, so it ends the test program.
#include "virtual_display.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTest>
#include <QtEndian>

#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>

#include <X11/Xlib.h> // last, because of its macros

namespace {

// For the server to start or to end on a busy machine.
const int PATIENCE = 60000;

const QString SOCKET_FOLDER = "/tmp/.X11-unix";

// The server ends with the test, even if that crashes.
class ServerProcess : public QProcess
{
protected:
    void setupChildProcess() override
    {
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    }
};

quint32 headerField(const QByteArray& screen, int index)
{
    return qFromBigEndian<quint32>(screen.constData() + index * 4);
}

void requireSuccess(const ProgramRun& run, const QStringList& arguments)
{
    if (run.status != 0) {
        const QByteArray complaint = "xdotool " + arguments.join(' ').toUtf8() + ": " + describe(run);
        QTest::qFail(complaint.constData(), __FILE__, __LINE__);
    }
}

} // namespace

VirtualDisplay::VirtualDisplay() : madeSocketFolder(!QDir(SOCKET_FOLDER).exists())
{
    server = std::make_unique<ServerProcess>();
    server->setProgram("Xvfb");
    server->setArguments(
        {"-displayfd", "1", "-screen", "0", "1024x900x24", "-nolisten", "tcp", "-noreset", "-fbdir", memory.path()});
    server->start();
    QByteArray number;
    while (!number.endsWith('\n')) {
        if (!server->waitForReadyRead(PATIENCE)) {
            qFatal("Xvfb did not start: %s %s", qUtf8Printable(server->errorString()),
                   server->readAllStandardError().constData());
        }
        number += server->readAllStandardOutput();
    }
    displayName = ':' + QString::fromLatin1(number.trimmed());
    rootWindow = windows().value(0);
}

VirtualDisplay::~VirtualDisplay()
{
    server->terminate();
    if (!server->waitForFinished(PATIENCE)) {
        server->kill();
        server->waitForFinished();
    }
    if (madeSocketFolder) {
        QDir().rmdir(SOCKET_FOLDER); // fails, as it should, when another server uses it by now
    }
}

QString VirtualDisplay::missing()
{
    for (const char* name : {"Xvfb", "xdotool"}) {
        if (QStandardPaths::findExecutable(QString::fromLatin1(name)).isEmpty()) {
            return QStringLiteral("this machine has no %1").arg(QLatin1String(name));
        }
    }
    return QString();
}

QString VirtualDisplay::name() const
{
    return displayName;
}

QStringList VirtualDisplay::windows(const QString& title)
{
    const QStringList search{"search", "--onlyvisible", "--maxdepth", "1", "--name", title};
    ProgramRun run = xdotool(search);
    // The search fails when a window disappears during it.
    while (run.errors.contains("BadWindow")) {
        run = xdotool(search);
    }
    const bool foundNothing = run.status == 1 && run.errors.isEmpty();
    if (!foundNothing) {
        requireSuccess(run, search);
    }
    QStringList identifiers = QString::fromLatin1(run.output).split(QLatin1Char('\n'));
    identifiers.removeAll(QString());
    identifiers.removeAll(rootWindow);
    return identifiers;
}

QRect VirtualDisplay::geometryOf(const QString& window)
{
    const QByteArray lines = act({"getwindowgeometry", "--shell", window});
    QMap<QByteArray, int> values;
    for (const QByteArray& line : lines.split('\n')) {
        const int equals = line.indexOf('=');
        values.insert(line.left(equals), line.mid(equals + 1).toInt());
    }
    return QRect(values.value("X"), values.value("Y"), values.value("WIDTH"), values.value("HEIGHT"));
}

void VirtualDisplay::press(const QString& window, const QStringList& keys)
{
    act(QStringList{"windowfocus", "--sync", window, "key"} + keys);
}

void VirtualDisplay::click(const QString& window, QPoint place)
{
    const QSize size = geometryOf(window).size();
    const int x = place.x() < 0 ? size.width() + place.x() : place.x();
    const int y = place.y() < 0 ? size.height() + place.y() : place.y();
    act({"mousemove", "--window", window, QString::number(x), QString::number(y), "click", "1"});
}

void VirtualDisplay::close(const QString& window)
{
    ::Display* connection = XOpenDisplay(displayName.toLatin1().constData());
    if (connection == nullptr) {
        qFatal("cannot open the display %s", qUtf8Printable(displayName));
    }
    XEvent request = {};
    request.xclient.type = ClientMessage;
    request.xclient.window = window.toULong();
    request.xclient.message_type = XInternAtom(connection, "WM_PROTOCOLS", False);
    request.xclient.format = 32;
    request.xclient.data.l[0] = static_cast<long>(XInternAtom(connection, "WM_DELETE_WINDOW", False));
    XSendEvent(connection, request.xclient.window, False, NoEventMask, &request);
    XCloseDisplay(connection); // sends what is still buffered
}

QByteArray VirtualDisplay::picture(const QRect& part) const
{
    QFile file(memory.filePath("Xvfb_screen0"));
    if (!file.open(QIODevice::ReadOnly)) {
        qFatal("cannot read %s", qUtf8Printable(file.fileName()));
    }
    const QByteArray screen = file.readAll();
    const int bytesPerPixel = int(headerField(screen, 11)) / 8;
    const int bytesPerLine = int(headerField(screen, 12));
    const int coloursLength = int(headerField(screen, 19)) * 12;
    const int start = int(headerField(screen, 0)) + coloursLength;
    QByteArray pixels;
    for (int y = part.top(); y <= part.bottom(); ++y) {
        pixels += screen.mid(start + y * bytesPerLine + part.left() * bytesPerPixel, part.width() * bytesPerPixel);
    }
    return pixels;
}

QByteArray VirtualDisplay::act(const QStringList& arguments)
{
    const ProgramRun run = xdotool(arguments);
    requireSuccess(run, arguments);
    return run.output;
}

ProgramRun VirtualDisplay::xdotool(const QStringList& arguments)
{
    Program tool("xdotool");
    return tool.unset("LD_PRELOAD").set("DISPLAY", displayName).run(arguments);
}
