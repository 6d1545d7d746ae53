// The behaviours around the head of an answer and its connection: statuses, redirects, headers, endings and silence.
// Exact bytes wherever the fault is in the bytes. The outcomes repeat what Qt does, even where that is strange: the
// program has to live with it.
#include "fault_table.h"

#include <algorithm>

namespace fault_table {

FaultTable::FaultTable(const QByteArray& body) : whole(body), half(firstHalf(body))
{
    addStatuses();
    addStatusLines();
    addRedirects();
    addLengths();
    addChunks();
    addTransfers();
    addEncodings();
    addEndings();
    addHeaders();
}

void FaultTable::addStatuses()
{
    // What Qt does not know counts as good below 400.
    for (const int status : {0, 1, 99, 200, 201, 202, 203, 205, 206, 207, 208, 226, 299}) {
        add("status " + QByteArray::number(status), Answer::status(status, whole), received(whole));
    }
    for (const int status :
         {400, 402, 403, 404, 405, 406, 408, 409, 410, 411, 412, 413, 414, 415, 416, 417, 418, 421, 422, 423, 424,
          425, 426, 428, 429, 431, 451, 499, 500, 501, 502, 503, 504, 505, 506, 507, 508, 510, 511, 599, 600, 999}) {
        add("status " + QByteArray::number(status), Answer::status(status, whole), REFUSED);
    }
    const FaultOutcome forHost{Kind::Failure, "Host requires authentication"};
    const FaultOutcome forProxy{Kind::Failure, "Proxy requires authentication"};
    add("status 401", Answer::status(401, whole), forHost);
    add("status 401 and a demand", Answer::status(401, whole).header("WWW-Authenticate", "Basic realm=\"x\""), forHost);
    add("status 401 and an odd demand", Answer::status(401, whole).header("WWW-Authenticate", "Odd x=\"y\""), forHost);
    add("status 407", Answer::status(407, whole), forProxy);
    add("status 407 and a demand", Answer::status(407, whole).header("Proxy-Authenticate", "Basic realm=\"x\""),
        forProxy);
    for (const int status : {204, 304}) {
        const QByteArray name = "status " + QByteArray::number(status);
        add(name, Answer::status(status), EMPTY);
        add(name + " with a body",
            Answer::status(status, whole).header("Content-Length", QByteArray::number(whole.size())), EMPTY);
    }
    for (const int status : {101, 102, 103, 199}) {
        const QByteArray name = "status " + QByteArray::number(status);
        const QByteArray head = "HTTP/1.1 " + QByteArray::number(status) + " As told\r\n\r\n";
        add(name + " alone", Answer::raw(head), EMPTY);
        add(name + " before the answer", Answer::raw(head + OK + length(whole.size()) + "\r\n" + whole), EMPTY);
    }
    const QByteArray proceed = "HTTP/1.1 100 As told\r\n\r\n";
    add("status 100 alone", Answer::raw(proceed), CLOSED).maybeAgain();
    add("status 100 before the answer", Answer::raw(proceed + OK + length(whole.size()) + "\r\n" + whole),
        received(whole));
    add("status 100 and silence", Answer::raw(proceed).thenStay(), WAITING);
}

void FaultTable::addStatusLines()
{
    const auto line = [this](const QByteArray& text) {
        return Answer::raw(text + "\r\n" + length(whole.size()) + "\r\n" + whole);
    };
    for (const char* text : {"HTTP/1.0 200 OK", "HTTP/1.2 200 OK", "HTTP/2.0 200 OK", "HTTP/0.9 200 OK", "HTTP/1.1 200",
                             "HTTP/1.1 200 ", "HTTP/1.1 20 OK", "HTTP/1.1 -200 OK"}) {
        add(QByteArray("status line '") + text + '\'', line(text), received(whole));
    }
    // Qt takes the connection for one that was kept too long, and tries again.
    for (const char* text : {"HTTP/1.1  200 OK", "HTTP/1.1", "HTTP/1.1 ", "HTTP/1.1 abc OK", "HTTP/1.1 99999999999 OK",
                             "ICY 200 OK", "http/1.1 200 OK", "HTTP/x.y 200 OK", "HTTP/1 200 OK"}) {
        add(QByteArray("status line '") + text + '\'', line(text), CLOSED).asked(4, 4);
    }
    add("status of four digits", line("HTTP/1.1 2000 As told"), REFUSED);
    add("long reason", line("HTTP/1.1 200 " + QByteArray(100000, 'r')), received(whole));
    add("line feeds alone", Answer::raw("HTTP/1.1 200 OK\n" + length(whole.size()).replace("\r", "") + '\n' + whole),
        received(whole));
    add("empty lines before the head", Answer::raw("\r\n\r\n" + OK + length(whole.size()) + "\r\n" + whole),
        received(whole));
    add("a body without a head, as in HTTP/0.9", Answer::raw(whole), CLOSED).asked(4, 4);
    add("random bytes", Answer::raw(QByteArray::fromHex("16030100fffe00808182838485")), CLOSED).maybeAgain();
    add("one byte", Answer::raw("H"), CLOSED).maybeAgain();
    add("a thousand zeros", Answer::raw(QByteArray(1000, '\0')), CLOSED).asked(4, 4);
}

void FaultTable::addRedirects()
{
    const auto named = [](int status, const QByteArray& text) {
        return "status " + QByteArray::number(status) + ' ' + text;
    };
    for (const int status : {301, 302, 303, 305, 307, 308}) {
        add(named(status, "elsewhere"), Answer::redirect(status, "/elsewhere"), REDIRECTED);
        add(named(status, "without a target"), Answer::status(status, whole), REDIRECTED);
    }
    for (const int status : {300, 306, 309, 399}) {
        add(named(status, "elsewhere"), Answer::status(status, whole).header("Location", "/elsewhere"),
            received(whole));
        add(named(status, "without a target"), Answer::status(status, whole), received(whole));
    }
    add(named(304, "elsewhere"), Answer::redirect(304, "/elsewhere"), EMPTY);
    for (const char* target : {"", "?", "ftp://127.0.0.1/", "https://127.0.0.1/", "file:///etc/passwd",
                               "http://127.0.0.1:1/", "javascript:alert(1)", "//", "http://[", "%00", "\xff\xfe"}) {
        add(named(302, "to '") + QByteArray(target).toPercentEncoding("/:[?") + '\'', Answer::redirect(302, target),
            REDIRECTED);
    }
    add(named(302, "to a long address"), Answer::redirect(302, '/' + QByteArray(100000, 'x')), REDIRECTED);
    add(named(302, "and half of a body"),
        Answer::status(302, whole).header("Location", "/elsewhere").cutAfter(half.size()), CLOSED)
        .orElse(REDIRECTED)
        .maybeAgain();
}

void FaultTable::addEndings()
{
    const QByteArray head = OK + length(whole.size());
    const QByteArray halfAnswer = head + "\r\n" + half;
    add("end before the head", Answer::hangUp(), CLOSED).asked(2, 2);
    add("end inside the status line", Answer::raw("HTTP/1.1 2"), CLOSED).maybeAgain();
    add("end inside a header", Answer::raw(head + "X-On"), CLOSED).maybeAgain();
    add("end before the end of the head", Answer::raw(head), CLOSED).maybeAgain();
    add("reset before the head", Answer::raw({}).thenReset(), CLOSED).asked(2, 2);
    add("reset inside the status line", Answer::raw("HTTP/1.1 2").thenReset(), CLOSED).maybeAgain();
    add("reset inside the head", Answer::raw(head + "X-On").thenReset(), CLOSED).maybeAgain();
    add("reset after the head", Answer::raw(head + "\r\n").thenReset(), CLOSED).maybeAgain();
    add("reset inside the body", Answer::raw(halfAnswer).thenReset(), CLOSED).maybeAgain();
    add("reset inside a body without length", good({}, half).thenReset(), received(half)).maybeAgain();
    add("reset after a body without length", good({}, whole).thenReset(), received(whole)).maybeAgain();
    add("reset after the body", wholeWith({}).thenReset(), received(whole));
    add("byte by byte", wholeWith({}).trickled(), received(whole));
    add("byte by byte without a length", good({}, whole).trickled(), received(whole)).maybeAgain();
    add("half, byte by byte", Answer::raw(halfAnswer).trickled(), CLOSED).maybeAgain();
    add("silence", Answer::silence(), WAITING);
    add("silence inside the status line", Answer::raw("HTTP/1.1 2").thenStay(), WAITING);
    add("silence inside the head", Answer::raw(head + "X-On").thenStay(), WAITING);
}

void FaultTable::addHeaders()
{
    add("header of a megabyte", wholeWith("X-Large: " + QByteArray(1 << 20, 'x') + "\r\n"), received(whole));
    add("ten thousand headers", wholeWith(QByteArray("X-One: 1\r\n").repeated(10000)), received(whole));
    add("header without a colon", wholeWith("nonsense\r\n"), received(whole));
    add("header with a zero", wholeWith(QByteArray("X-One: 1\0002\r\n", 12)), received(whole));
    const QList<QByteArray> lines{
        ": no name",
        "X-Folded: 1\r\n 2\r\n\t3",
        "X-\xc3\xa9: \xff\xfe",
        "X-One: 1\r2",
        "Set-Cookie: a=b; Domain=.\r\nSet-Cookie: ;;;",
        "Content-Type: image/png; charset=odd",
        "Upgrade: h2c\r\nConnection: Upgrade",
        "Strict-Transport-Security: max-age=99999999",
        "Alt-Svc: h3=\":1\"",
        "Refresh: 0; url=/elsewhere",
        "Content-Range: bytes 5-9/10",
        "Content-Disposition: attachment; filename=../../other",
        "Location: /elsewhere",
        "Connection: keep-alive\r\nKeep-Alive: timeout=0, max=0",
    };
    for (const QByteArray& line : lines) {
        add("header " + line.toPercentEncoding(" :;,/=-"), wholeWith(line + "\r\n"), received(whole));
    }
}

} // namespace fault_table

namespace {

// The entries whose requests can end, can stay open, or both.
QList<Fault> selected(const QByteArray& body, bool canEnd, bool canStay)
{
    QList<Fault> some;
    const fault_table::FaultTable table(body);
    for (const Fault& fault : table.faults) {
        const auto stays =
            std::count_if(fault.outcomes.cbegin(), fault.outcomes.cend(),
                          [](const FaultOutcome& outcome) { return outcome.kind == FaultOutcome::Kind::Waiting; });
        if ((stays > 0) == canStay && (stays < fault.outcomes.size()) == canEnd) {
            some << fault;
        }
    }
    return some;
}

} // namespace

bool Fault::explains(const QList<QByteArray>& requestedPaths, const QByteArray& path) const
{
    const int count = requestedPaths.count(path);
    return requestedPaths.size() == count && fewestRequests <= count && count <= mostRequests;
}

QList<Fault> endingFaults(const QByteArray& body)
{
    return selected(body, true, false);
}

QList<Fault> uncertainFaults(const QByteArray& body)
{
    return selected(body, true, true);
}

QList<Fault> silentFaults(const QByteArray& body)
{
    return selected(body, false, true);
}
