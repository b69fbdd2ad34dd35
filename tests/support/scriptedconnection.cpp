// SPDX-License-Identifier: MIT
#include <tests/support/scriptedconnection.h>

#include <tests/support/scriptbook.h>

#include <QSslSocket>
#include <QTcpSocket>

#include <algorithm>
#include <sys/socket.h>
#include <utility>

namespace
{
constexpr qint64 kHighWater = 262144;
constexpr qint64 kPieceSize = 65536;
constexpr int kTicksPerSecond = 20;

struct Reason {
    int status;
    const char *words;
};
constexpr Reason kReasons[] = {
    {200, "OK"},
    {204, "No Content"},
    {206, "Partial Content"},
    {301, "Moved Permanently"},
    {302, "Found"},
    {303, "See Other"},
    {304, "Not Modified"},
    {307, "Temporary Redirect"},
    {308, "Permanent Redirect"},
    {400, "Bad Request"},
    {401, "Unauthorized"},
    {403, "Forbidden"},
    {404, "Not Found"},
    {410, "Gone"},
    {412, "Precondition Failed"},
    {416, "Range Not Satisfiable"},
    {429, "Too Many Requests"},
    {500, "Internal Server Error"},
    {502, "Bad Gateway"},
    {503, "Service Unavailable"},
    {504, "Gateway Timeout"},
};

QByteArray reasonOf(int status)
{
    const auto *found =
        std::find_if(std::begin(kReasons), std::end(kReasons), [=](const Reason &r) { return r.status == status; });
    return found == std::end(kReasons) ? QByteArray("Unknown") : QByteArray(found->words);
}

bool containsName(const QList<QByteArray> &names, const QByteArray &name)
{
    return std::any_of(names.begin(), names.end(),
                       [&](const QByteArray &n) { return n.compare(name, Qt::CaseInsensitive) == 0; });
}

struct Range {
    enum class Kind { None, Piece, OutOfBounds };
    Kind kind = Kind::None;
    qint64 first = 0;
    qint64 length = 0;
};

// One range only: a list of them is answered with the whole file, which HTTP allows.
Range parseRange(const QByteArray &value, qint64 size)
{
    if (!value.startsWith("bytes=") || value.contains(',') || value.count('-') != 1) {
        return {};
    }
    const QList<QByteArray> ends = value.mid(6).split('-');
    if (ends.first().isEmpty()) {
        const qint64 suffix = std::min(ends.last().toLongLong(), size);
        return {suffix > 0 ? Range::Kind::Piece : Range::Kind::OutOfBounds, size - suffix, suffix};
    }
    const qint64 first = ends.first().toLongLong();
    const qint64 last = ends.last().isEmpty() ? size - 1 : std::min(ends.last().toLongLong(), size - 1);
    if (first >= size) {
        return {Range::Kind::OutOfBounds, 0, 0};
    }
    return last < first ? Range() : Range{Range::Kind::Piece, first, last - first + 1};
}
}

ScriptedConnection::ScriptedConnection(std::shared_ptr<ScriptBook> book, QTcpSocket *socket, QObject *parent)
    : QObject(parent)
    , m_book(std::move(book))
    , m_socket(socket)
    , m_number(m_book->recordConnection())
{
    socket->setParent(this);
    socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    m_rateTimer.setInterval(1000 / kTicksPerSecond);
    m_rateTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_rateTimer, &QTimer::timeout, this, &ScriptedConnection::onRateTick);
    connect(socket, &QTcpSocket::readyRead, this, &ScriptedConnection::onReadyRead);
    connect(socket, &QTcpSocket::disconnected, this, &ScriptedConnection::onDisconnected);
    connect(socket, &QTcpSocket::bytesWritten, this, &ScriptedConnection::onBytesWritten);
}

ScriptedConnection::~ScriptedConnection()
{
    m_socket->disconnect(this);
    setHeldAt(std::nullopt);
    m_book->recordDisconnection();
}

void ScriptedConnection::startTls(const QSslConfiguration &tls)
{
    auto *socket = qobject_cast<QSslSocket *>(m_socket);
    connect(socket, &QSslSocket::encryptedBytesWritten, this, &ScriptedConnection::onBytesWritten);
    socket->setSslConfiguration(tls);
    socket->startServerEncryption();
}

void ScriptedConnection::resume()
{
    if (m_state == State::AtHeadGate && m_book->isOpen(m_response.headGate)) {
        setHeldAt(std::nullopt);
        sendHead();
    }
    pump();
}

void ScriptedConnection::onReadyRead()
{
    m_input += m_socket->readAll();
    if (m_state == State::Reading) {
        readRequest();
    }
}

void ScriptedConnection::onDisconnected()
{
    m_book->recordEnd(m_number);
    deleteLater();
}

void ScriptedConnection::onBytesWritten()
{
    if (m_state == State::Closing) {
        closeWhenWritten();
    } else {
        pump();
    }
}

void ScriptedConnection::onRateTick()
{
    // At most one second's worth is saved up, or a stop would be followed by a burst.
    const qint64 rate = m_response.bytesPerSecond;
    m_allowance = std::min(m_allowance + std::max<qint64>(rate / kTicksPerSecond, 1), rate);
    pump();
}

void ScriptedConnection::readRequest()
{
    if (m_bodyMissing < 0) {
        const qsizetype headEnd = m_input.indexOf("\r\n\r\n");
        if (headEnd < 0 || !takeHead(headEnd)) {
            return;
        }
    }
    const QByteArray taken = m_input.left(m_bodyMissing);
    m_input.remove(0, taken.size());
    m_request.body += taken;
    m_bodyMissing -= taken.size();
    if (m_bodyMissing == 0) {
        m_bodyMissing = -1;
        m_request.connection = m_number;
        m_book->recordRequest(&m_request);
        answer();
    }
}

bool ScriptedConnection::takeHead(qsizetype headEnd)
{
    QList<QByteArray> lines = m_input.left(headEnd).split('\n');
    m_input.remove(0, headEnd + 4);
    const QList<QByteArray> words = lines.takeFirst().trimmed().split(' ');
    if (words.size() != 3) {
        m_socket->abort();
        return false;
    }
    m_request = ScriptedRequest();
    m_request.method = words.at(0);
    m_request.target = words.at(1);
    m_request.version = words.at(2);
    for (const QByteArray &line : std::as_const(lines)) {
        const qsizetype colon = line.indexOf(':');
        m_request.headers.append({line.left(colon), line.mid(colon + 1).trimmed()});
    }
    m_bodyMissing = m_request.header("Content-Length").toLongLong();
    return true;
}

void ScriptedConnection::answer()
{
    m_response = m_book->responseTo(m_request);
    m_sent = 0;
    m_allowance = 0;
    if (m_response.closesWithoutAnswer) {
        m_state = State::Closing;
        closeWhenWritten();
    } else if (!m_response.headGate.isEmpty() && !m_book->isOpen(m_response.headGate)) {
        m_state = State::AtHeadGate;
        setHeldAt(m_response.headGate);
    } else {
        sendHead();
    }
}

void ScriptedConnection::sendHead()
{
    if (!m_response.raw.isEmpty()) {
        m_socket->write(m_response.raw);
        m_state = State::Closing;
        closeWhenWritten();
        return;
    }
    applyRange();
    m_socket->write(headBytes());
    if (m_request.method == "HEAD") {
        m_length = 0;
    }
    if (m_response.bytesPerSecond > 0) {
        m_rateTimer.start();
    }
    m_state = State::Sending;
    pump();
}

void ScriptedConnection::applyRange()
{
    m_first = 0;
    m_length = m_response.size();
    m_contentRange.clear();
    const QByteArray condition = m_request.header("If-Range");
    if (!m_response.honoursRanges || m_response.status != 200
        || (!condition.isEmpty() && condition != m_response.header("ETag")
            && condition != m_response.header("Last-Modified"))) {
        return;
    }
    const QByteArray total = QByteArray::number(m_length);
    const Range range = parseRange(m_request.header("Range"), m_length);
    if (range.kind == Range::Kind::Piece) {
        m_response.status = 206;
        m_first = range.first;
        m_length = range.length;
        m_contentRange =
            "bytes " + QByteArray::number(m_first) + '-' + QByteArray::number(m_first + m_length - 1) + '/' + total;
    } else if (range.kind == Range::Kind::OutOfBounds) {
        m_response.status = 416;
        m_length = 0;
        m_contentRange = "bytes */" + total;
    }
}

QByteArray ScriptedConnection::headBytes() const
{
    const QByteArray reason = m_response.reason.isEmpty() ? reasonOf(m_response.status) : m_response.reason;
    QByteArray head = "HTTP/1.1 " + QByteArray::number(m_response.status) + ' ' + reason + "\r\n";
    for (const ScriptedResponse::Header &header : m_response.headers) {
        head += header.first + ": " + header.second + "\r\n";
    }
    const auto add = [&](const QByteArray &name, const QByteArray &value) {
        if (m_response.header(name).isNull() && !containsName(m_response.leaveOut, name)) {
            head += name + ": " + value + "\r\n";
        }
    };
    if (m_response.framing == ScriptedResponse::Framing::Chunked) {
        add("Transfer-Encoding", "chunked");
    } else if (m_response.framing == ScriptedResponse::Framing::ContentLength) {
        add("Content-Length", QByteArray::number(m_length));
    }
    if (m_response.honoursRanges) {
        add("Accept-Ranges", "bytes");
    }
    if (!m_contentRange.isEmpty()) {
        add("Content-Range", m_contentRange);
    }
    if (m_response.closesConnection || m_response.framing == ScriptedResponse::Framing::CloseDelimited) {
        add("Connection", "close");
    }
    return head + "\r\n";
}

void ScriptedConnection::pump()
{
    while (m_state == State::Sending && m_socket->bytesToWrite() < kHighWater && !isHeld()) {
        if (m_sent == lastByte()) {
            finishAnswer();
            return;
        }
        const qint64 size = nextPieceSize();
        if (size == 0) {
            return;
        }
        sendPiece(size);
    }
}

bool ScriptedConnection::isHeld()
{
    const bool held = m_sent == m_response.holdAfter && !m_book->isOpen(m_response.holdGate);
    setHeldAt(held ? std::optional(m_response.holdGate) : std::nullopt);
    return held;
}

void ScriptedConnection::setHeldAt(const std::optional<QString> &gate)
{
    if (m_heldAt == gate) {
        return;
    }
    if (m_heldAt) {
        m_book->recordHeld(*m_heldAt, -1);
    }
    if (gate) {
        m_book->recordHeld(*gate, 1);
    }
    m_heldAt = gate;
}

qint64 ScriptedConnection::nextPieceSize() const
{
    const bool chunked = m_response.framing == ScriptedResponse::Framing::Chunked;
    qint64 size = std::min(chunked ? m_response.chunkSize : kPieceSize, lastByte() - m_sent);
    if (m_response.holdAfter > m_sent) {
        size = std::min(size, m_response.holdAfter - m_sent);
    }
    return m_response.bytesPerSecond > 0 ? std::min(size, m_allowance) : size;
}

void ScriptedConnection::sendPiece(qint64 size)
{
    const QByteArray piece = m_response.bodyPiece(m_first + m_sent, size);
    m_sent += size;
    m_allowance -= m_response.bytesPerSecond > 0 ? size : 0;
    m_book->recordBodyBytes(m_request.order, m_sent);
    if (m_response.framing == ScriptedResponse::Framing::Chunked) {
        m_socket->write(QByteArray::number(size, 16) + "\r\n" + piece + "\r\n");
    } else {
        m_socket->write(piece);
    }
}

qint64 ScriptedConnection::lastByte() const
{
    return m_response.cutAfter < 0 ? m_length : std::min(m_length, m_response.cutAfter);
}

void ScriptedConnection::finishAnswer()
{
    m_rateTimer.stop();
    const bool cut = m_response.cutAfter >= 0;
    if (m_response.framing == ScriptedResponse::Framing::Chunked && !cut && m_request.method != "HEAD") {
        m_socket->write("0\r\n\r\n");
    }
    if (cut || m_response.closesConnection || m_response.framing == ScriptedResponse::Framing::CloseDelimited) {
        m_reset = cut && m_response.cut == ScriptedResponse::Cut::Reset;
        m_state = State::Closing;
        closeWhenWritten();
        return;
    }
    m_state = State::Reading;
    readRequest();
}

void ScriptedConnection::closeWhenWritten()
{
    if (hasUnwrittenBytes()) {
        return;
    }
    if (m_reset) {
        const linger none{1, 0};
        setsockopt(static_cast<int>(m_socket->socketDescriptor()), SOL_SOCKET, SO_LINGER, &none, sizeof none);
        m_socket->abort();
    } else {
        m_socket->disconnectFromHost();
    }
}

bool ScriptedConnection::hasUnwrittenBytes() const
{
    const auto *secure = qobject_cast<const QSslSocket *>(m_socket);
    return m_socket->bytesToWrite() > 0 || (secure != nullptr && secure->encryptedBytesToWrite() > 0);
}
