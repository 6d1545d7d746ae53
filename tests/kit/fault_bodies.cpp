// The behaviours around the body of an answer: its announced length, chunks, and encodings.
#include "fault_table.h"

namespace fault_table {

namespace {

const FaultOutcome CORRUPTED{Kind::Failure, "Data corrupted"};

QByteArray chunk(const QByteArray& bytes)
{
    return QByteArray::number(bytes.size(), 16) + "\r\n" + bytes + "\r\n";
}

QByteArray littleEndian(quint32 number, int size)
{
    QByteArray bytes;
    for (int i = 0; i < size; ++i) {
        bytes += static_cast<char>(number >> (8 * i));
    }
    return bytes;
}

QByteArray checksum(const QByteArray& bytes)
{
    quint32 crc = 0xffffffff;
    for (const char byte : bytes) {
        crc ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xedb88320 : 0);
        }
    }
    return littleEndian(~crc, 4);
}

QByteArray inChunks(const QByteArray& body, int size)
{
    QByteArray bytes;
    for (int i = 0; i < body.size(); i += size) {
        bytes += chunk(body.mid(i, size));
    }
    return bytes + "0\r\n\r\n";
}

} // namespace

void FaultTable::addLengths()
{
    const int size = whole.size();
    const QByteArray digits = QByteArray::number(size);
    add("no length", good({}, whole), received(whole)).maybeAgain();
    add("no length and no body", good({}, {}), EMPTY).maybeAgain();
    add("no length, half of the body", good({}, half), received(half)).maybeAgain();
    add("length of zero", good(length(0), {}), EMPTY);
    add("length of zero and a body", good(length(0), whole), EMPTY);
    add("length too long by one", good(length(size + 1), whole), CLOSED).maybeAgain();
    add("length too long by far", good("Content-Length: 999999999999\r\n", whole), CLOSED).maybeAgain();
    add("length too short", good(length(half.size()), whole), received(half));
    add("length and no body", good(length(size), {}), CLOSED).maybeAgain();
    add("length and one byte", good(length(size), whole.left(1)), CLOSED).maybeAgain();
    add("length and half of the body", good(length(size), half), CLOSED).maybeAgain();
    add("length and all but one byte", good(length(size), whole.chopped(1)), CLOSED).maybeAgain();
    add("negative length", good(length(-1), whole), received(whole)).maybeAgain();
    for (const QByteArray& text : {QByteArray("abc"), QByteArray(""), QByteArray("99999999999999999999"), '+' + digits,
                                   digits + ".0", QByteArray("0x10")}) {
        add("length '" + text + '\'', good("Content-Length: " + text + "\r\n", whole), received(whole)).maybeAgain();
    }
    add("two equal lengths", good(length(size) + length(size), whole), received(whole));
    add("two lengths, the first right", good(length(size) + length(half.size()), whole), received(whole));
    add("two lengths, the last right", good(length(half.size()) + length(size), whole), received(half));
    add("length in capitals", good(length(size).toUpper(), whole), received(whole));
    add("length and silence", good(length(size), {}).thenStay(), WAITING);
    add("length, half of the body and silence", good(length(size), half).thenStay(), WAITING);
    add("length too long by one and silence", good(length(size + 1), whole).thenStay(), WAITING);
    add("no length, whole body and silence", good({}, whole).thenStay(), WAITING);
}

void FaultTable::addChunks()
{
    const QByteArray first = chunk(half);
    const QByteArray second = chunk(whole.mid(half.size()));
    const QByteArray both = first + second;
    const QByteArray last = "0\r\n\r\n";
    const auto chunks = [this](const QByteArray& name, const QByteArray& bytes, const FaultOutcome& outcome) -> Fault& {
        return add("chunks: " + name, good("Transfer-Encoding: chunked\r\n", bytes), outcome);
    };
    chunks("good", both + last, received(whole));
    chunks("one byte each", inChunks(whole, 1), received(whole));
    chunks("trailers", both + "0\r\nX-One: 1\r\nX-Two: 2\r\n\r\n", received(whole));
    chunks("extension of a size", QByteArray(both).insert(both.indexOf('\r'), ";a=b") + last, received(whole));
    chunks("zeros before a size", "000" + both + last, received(whole));
    chunks("size in capitals",
           QByteArray(both).replace(0, both.indexOf('\r'), both.left(both.indexOf('\r')).toUpper()) + last,
           received(whole));
    chunks("none but the last", last, EMPTY);
    chunks("bytes after the last", both + last + "more", received(whole));
    // A size of zero ends the body, and so does what Qt cannot read as a size.
    for (const char* size : {"xyz", "-5", "ffffffffffffffff", "fffffffffffffffff"}) {
        chunks(QByteArray("size ") + size, first + size + "\r\n" + second + last, received(half));
    }
    chunks("no line break after one", first.chopped(2) + second + last, received(half));
    chunks("line break too many", first + "\r\n" + second + last, received(whole));
    // Mostly the end of the connection counts as that of the body.
    const auto cut = [&chunks](const QByteArray& name, const QByteArray& bytes, const QByteArray& body) -> Fault& {
        return chunks(name, bytes, CLOSED).orElse(received(body)).maybeAgain();
    };
    const QByteArray more = second + last;
    cut("nothing", {}, {});
    cut("cut in the first size", first.left(1), {});
    cut("cut before the last", both, whole);
    cut("cut between two", first, half);
    cut("cut in a size", first + second.left(1), half);
    cut("cut inside one", first + second.left(second.size() / 2),
        half + second.left(second.size() / 2).mid(second.indexOf('\n') + 1));
    cut("size too large", first + "fffff\r\n" + more, half + more);
    cut("size of 63 bits", first + "7fffffffffffffff\r\n" + more, half + more);
    cut("reset after one", first, half).answer.thenReset();
    chunks("no line break after the last", both + "0\r\n", WAITING).orElse(CLOSED).orElse(received(whole)).maybeAgain();
    chunks("a body that is not in chunks", "no size", WAITING).orElse(CLOSED).orElse(EMPTY).maybeAgain();
}

void FaultTable::addTransfers()
{
    const QByteArray chunks = inChunks(whole, half.size());
    const QByteArray named = "Transfer-Encoding: chunked\r\n";
    for (const int announced : {5, whole.size(), whole.size() * 3}) {
        add("chunks beside a length of " + QByteArray::number(announced), good(named + length(announced), chunks),
            received(whole));
    }
    add("chunks byte by byte", good(named, chunks).trickled(), received(whole));
    add("chunks, the first and silence", good(named, chunk(half)).thenStay(), WAITING);
    add("chunks, all but the last and silence", good(named, chunk(whole)).thenStay(), WAITING);
    add("unknown transfer encoding", wholeWith("Transfer-Encoding: odd\r\n"), received(whole));
    add("transfer encoding identity", wholeWith("Transfer-Encoding: identity\r\n"), received(whole));
    add("transfer encoding in capitals", good(named.toUpper(), chunks), received(whole));
    add("two transfer encodings", good("Transfer-Encoding: gzip, chunked\r\n", chunks), received(whole));
}

void FaultTable::addEncodings()
{
    const QByteArray gzip = gzipped(whole);
    const QByteArray deflate = qCompress(whole).mid(4); // Qt puts the length in front
    const auto encoded = [](const QByteArray& name, const QByteArray& bytes) {
        return good("Content-Encoding: " + name + "\r\n" + length(bytes.size()), bytes);
    };
    add("gzip", encoded("gzip", gzip), received(whole));
    add("gzip in capitals", encoded("GZIP", gzip), received(whole));
    add("gzip without a length", good("Content-Encoding: gzip\r\n", gzip), received(whole)).maybeAgain();
    add("gzip in chunks", good("Content-Encoding: gzip\r\nTransfer-Encoding: chunked\r\n", inChunks(gzip, 100)),
        received(whole));
    add("gzip without its checksum", encoded("gzip", gzip.chopped(8)), received(whole));
    add("gzip with a wrong checksum", encoded("gzip", gzip.chopped(8) + "12345678"), CORRUPTED);
    add("gzip, damaged", encoded("gzip", QByteArray(gzip).replace(gzip.size() / 2, 4, "\xff\xff\xff\xff")), CORRUPTED);
    add("gzip, then other bytes", encoded("gzip", gzip + whole), received(whole));
    add("gzip twice", encoded("gzip, gzip", gzipped(gzip)), received(gzipped(gzip)));
    add("gzip that is plain", encoded("gzip", whole), CORRUPTED);
    add("gzip that is deflate", encoded("gzip", deflate), received(whole));
    add("gzip that is empty", encoded("gzip", {}), EMPTY);
    // The length is that of the compressed body, which the program does not see.
    const QByteArray partOfGzip = firstHalf(gzip);
    const QByteArray head = gzipped({}).chopped(8);
    add("gzip, half of the announced length", good("Content-Encoding: gzip\r\n" + length(gzip.size()), partOfGzip),
        received(partOfGzip.mid(head.size())))
        .maybeAgain();
    add("gzip, half and that length", encoded("gzip", partOfGzip), received(partOfGzip.mid(head.size())));
    add("gzip, half without a length", good("Content-Encoding: gzip\r\n", partOfGzip),
        received(partOfGzip.mid(head.size())))
        .maybeAgain();
    add("deflate", encoded("deflate", deflate), received(whole));
    add("deflate without its frame", encoded("deflate", deflate.mid(2).chopped(4)), received(whole));
    add("deflate that is plain", encoded("deflate", whole), CORRUPTED);
    for (const char* name : {"identity", "", "br", "odd"}) {
        add(QByteArray("encoding '") + name + '\'', encoded(name, whole), received(whole));
    }
    for (const char* name : {"identity", "x-gzip", "br"}) {
        add(QByteArray("encoding '") + name + "' that is gzip", encoded(name, gzip), received(gzip));
    }
}

} // namespace fault_table

QByteArray gzipped(const QByteArray& body)
{
    using namespace fault_table;
    const auto size = static_cast<quint32>(body.size());
    const QByteArray head = QByteArray::fromHex("1f8b0800000000000003");
    const QByteArray block = '\1' + littleEndian(size, 2) + littleEndian(~size, 2) + body;
    return head + block + checksum(body) + littleEndian(size, 4);
}
