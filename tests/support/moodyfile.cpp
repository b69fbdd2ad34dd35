// SPDX-License-Identifier: MIT
#include <tests/support/moodyfile.h>

#include <tests/support/authentication.h>
#include <tests/support/testfiles.h>

#include <QList>
#include <QString>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace
{
constexpr double kLargest = 3.0 * 1024 * 1024;
constexpr int kMostHops = 3;
constexpr int kMostFaults = 6;
constexpr int kMostPieces = 60;
constexpr int kMostChunks = 400;
constexpr int kLongestPauseMs = 2;

enum class Framing { Length, Chunked, Close };

bool happens(QRandomGenerator &chance, int percent)
{
    return chance.bounded(100) < percent;
}

QByteArray number(qint64 value)
{
    return QByteArray::number(value);
}

QByteArray chunked(const QByteArray &body, QRandomGenerator &chance)
{
    static const QList<QByteArray> extensions{"", ";a", ";a=b", "; a=\"b;\\\"c\"", " ;x=1;y"};
    static const QList<QByteArray> trailers{"", "", "X-Trailer: t\r\n", "X-A: 1\r\nX-B: 2\r\n"};
    QByteArray bytes;
    const qsizetype least = body.size() / kMostChunks + 1;
    for (qsizetype at = 0; at < body.size();) {
        const qsizetype size = std::min(body.size() - at, least + chance.bounded(8 * int(least)));
        const QByteArray hex = QByteArray::number(size, 16);
        bytes += (happens(chance, 50) ? hex.toUpper() : "00" + hex);
        bytes += extensions.at(happens(chance, 70) ? 0 : chance.bounded(int(extensions.size()))) + "\r\n";
        bytes += body.mid(at, size) + "\r\n";
        at += size;
    }
    return bytes + "0\r\n" + trailers.at(chance.bounded(int(trailers.size()))) + "\r\n";
}

QByteArray interimAnswers(QRandomGenerator &chance)
{
    static const QList<QByteArray> kinds{
        "HTTP/1.1 100 Continue\r\n\r\n", "HTTP/1.1 102 Processing\r\n\r\n",
        "HTTP/1.1 103 Early Hints\r\nLink: </style.css>; rel=preload\r\nContent-Length: 5\r\n\r\n"};
    QByteArray bytes;
    for (int i = happens(chance, 15) ? 1 + chance.bounded(3) : 0; i > 0; --i) {
        bytes += kinds.at(chance.bounded(int(kinds.size())));
    }
    return bytes;
}

/// In pieces of any size, with a pause between them or a stall somewhere.
void pickPace(QRandomGenerator &chance, MoodyAnswer &answer)
{
    const qsizetype size = answer.bytes.size();
    if (happens(chance, 40)) {
        const qsizetype least = size / kMostPieces + 1;
        answer.piece = least + chance.bounded(int(least) * (happens(chance, 30) ? 16 : 2));
        answer.longestPauseMs = chance.bounded(kLongestPauseMs + 1);
    }
    if (size > 0 && happens(chance, 6)) {
        answer.stallsAt = chance.bounded(int(size));
    }
}

/// On a connection that was used before, rather before the first byte.
MoodyAnswer cutSomewhere(MoodyAnswer answer, bool mayClose, bool isReused, QRandomGenerator &chance)
{
    const bool isEmpty = happens(chance, isReused ? 30 : 10);
    answer.bytes.truncate(isEmpty ? 0 : chance.bounded(int(answer.bytes.size())));
    answer.end = mayClose && happens(chance, 60) ? MoodyAnswer::End::Close : MoodyAnswer::End::Reset;
    answer.isFaulty = true;
    return answer;
}
}

const QByteArray MoodyFile::kLogin = QByteArrayLiteral("anna:secret");

/// An answer before it has become bytes.
struct MoodyFile::Form {
    QByteArray statusLine; ///< behind the version
    QByteArray fields;
    QByteArray body;
    bool isWholeFile = false;
    bool isPartial = false;
    qint64 from = 0; ///< of the file
    qint64 to = -1;

    /// How the client knows where its body ends, and what is said of the range.
    struct Dress {
        Framing framing = Framing::Length;
        bool closes = false;
        bool isTotalKnown = true;
        qint64 wrongBy = 0; ///< the range is said to begin so much further on
        QByteArray coding; ///< a transfer coding before the chunks
    };

    Dress pickDress(bool tellsSize, QRandomGenerator &chance) const
    {
        Dress dress;
        const int kind = chance.bounded(100);
        dress.isTotalKnown = tellsSize;
        if (isWholeFile) {
            dress.framing = tellsSize ? Framing::Length : kind < 60 ? Framing::Chunked : Framing::Close;
        } else {
            dress.framing = kind < 45 ? Framing::Length : kind < 75 ? Framing::Chunked : Framing::Close;
        }
        dress.closes = dress.framing == Framing::Close || happens(chance, 25);
        return dress;
    }

    QByteArray headFor(const Dress &dress, qint64 fileSize) const
    {
        const bool isOld = dress.framing == Framing::Close;
        QByteArray head = (isOld ? "HTTP/1.0 " : "HTTP/1.1 ") + statusLine + "\r\n" + fields;
        if (isPartial) {
            head += "Content-Range: bytes " + number(from + dress.wrongBy) + '-' + number(to + dress.wrongBy) + '/'
                + (dress.isTotalKnown ? number(fileSize + dress.wrongBy) : "*") + "\r\n";
        }
        if (dress.framing == Framing::Chunked) {
            head += "Transfer-Encoding: " + dress.coding + "chunked\r\n";
        } else if (dress.framing == Framing::Length) {
            head += "Content-Length: " + number(body.size()) + "\r\n";
        }
        return head + (dress.closes && !isOld ? "Connection: close\r\n" : "") + "\r\n";
    }

    MoodyAnswer wear(const Dress &dress, qint64 fileSize, QRandomGenerator &chance) const
    {
        MoodyAnswer answer;
        answer.bytes = interimAnswers(chance) + headFor(dress, fileSize)
            + (dress.framing == Framing::Chunked ? chunked(body, chance) : body);
        answer.end = dress.closes ? MoodyAnswer::End::Close : MoodyAnswer::End::KeepOpen;
        if (dress.framing != Framing::Close && happens(chance, 4)) {
            answer.bytes += "junk behind the body\r\n\r\n";
        }
        pickPace(chance, answer);
        return answer;
    }
};

MoodyFile::MoodyFile(quint64 seed)
    : m_seed(seed)
{
    QRandomGenerator chance(quint32(seed) * 2654435761U + quint32(seed >> 32));
    m_size = happens(chance, 5) ? 0 : qint64(std::pow(kLargest, chance.generateDouble()));
    m_hops = happens(chance, 20) ? 1 + chance.bounded(kMostHops) : 0;
    m_login = happens(chance, 80) ? Login::None : happens(chance, 50) ? Login::Basic : Login::Digest;
    m_tellsSize = happens(chance, 75);
    m_hasETag = happens(chance, 60);
    m_hasDate = happens(chance, 60);
    m_mostFaults = happens(chance, 15) ? 0 : 1 + chance.bounded(kMostFaults);
}

QByteArray MoodyFile::name() const
{
    return number(qint64(m_seed)) + ".bin";
}

QByteArray MoodyFile::path() const
{
    return '/' + number(qint64(m_seed)) + "/h" + number(m_hops) + '/' + name();
}

QByteArray MoodyFile::sha256() const
{
    return TestFiles::sha256OfContent(m_seed, m_size);
}

int MoodyFile::requestsToAsk() const
{
    return m_hops + (m_login == Login::None ? 1 : 2);
}

QString MoodyFile::inWords() const
{
    const QString login = m_login == Login::None ? u"no login"_s : m_login == Login::Basic ? u"Basic"_s : u"Digest"_s;
    const QString size = (m_tellsSize ? u"%1 bytes"_s : u"%1 bytes (which it does not tell)"_s).arg(m_size);
    return u"%1 behind %2 redirects, %3, %4, %5, at most %6 faults"_s.arg(
        size, QString::number(m_hops), login, m_hasETag ? u"ETag"_s : u"no ETag"_s,
        m_hasDate ? u"Last-Modified"_s : u"no Last-Modified"_s, QString::number(m_mostFaults));
}

bool MoodyFile::isLoggedIn(const ScriptedRequest &request, QByteArray *challenge) const
{
    if (m_login == Login::None) {
        return true;
    }
    const ScriptedResponse ok = ScriptedResponse::ok({});
    const ScriptedResponse response = m_login == Login::Basic ? Authentication::basic(kLogin, ok)(request)
                                                              : Authentication::digest(kLogin, ok)(request);
    for (const ScriptedResponse::Header &header : response.headers) {
        *challenge += header.first + ": " + header.second + "\r\n";
    }
    return response.status == 200;
}

MoodyFile::Form MoodyFile::formFor(const ScriptedRequest &request, QRandomGenerator &chance) const
{
    Form form;
    const QList<QByteArray> parts = request.path().split('/');
    const int hop = parts.value(2).mid(1).toInt();
    QByteArray challenge;
    if (hop > 0) {
        pickRedirect(hop, chance, form);
    } else if (!isLoggedIn(request, &challenge)) {
        form.statusLine = "401 Unauthorized";
        form.fields = challenge;
        form.body = "Who are you?";
    } else {
        pickRange(request, form);
    }
    return form;
}

void MoodyFile::pickRedirect(int hop, QRandomGenerator &chance, Form &form) const
{
    static const QList<QByteArray> statuses{"301 Moved Permanently", "302 Found", "303 See Other",
                                            "307 Temporary Redirect", "308 Permanent Redirect"};
    const QByteArray step = "h" + number(hop - 1) + '/' + name();
    const QByteArray relative = "../" + step;
    const QByteArray absolute = '/' + number(qint64(m_seed)) + '/' + step;
    form.statusLine = statuses.at(chance.bounded(int(statuses.size())));
    form.fields = "Location: " + (happens(chance, 50) ? relative : absolute) + "\r\n";
    form.body = happens(chance, 50) ? "moved" : "";
}

void MoodyFile::pickRange(const ScriptedRequest &request, Form &form) const
{
    const QByteArray range = request.header("Range");
    form.fields = validators();
    form.statusLine = "200 OK";
    if (!range.startsWith("bytes=")) {
        form.body = TestFiles::content(m_seed, 0, m_size);
        form.isWholeFile = true;
        return;
    }
    const QList<QByteArray> ends = range.mid(6).split('-');
    form.from = ends.value(0).toLongLong();
    form.to = ends.value(1).isEmpty() ? m_size - 1 : std::min(ends.value(1).toLongLong(), m_size - 1);
    if (form.from >= m_size) {
        form.statusLine = "416 Range Not Satisfiable";
        form.fields += "Content-Range: bytes */" + number(m_size) + "\r\n";
        return;
    }
    form.statusLine = "206 Partial Content";
    form.isPartial = true;
    form.body = TestFiles::content(m_seed, form.from, form.to - form.from + 1);
}

QByteArray MoodyFile::validators() const
{
    return QByteArray("Accept-Ranges: bytes\r\n") + (m_hasETag ? "ETag: \"v-" + number(qint64(m_seed)) + "\"\r\n" : "")
        + (m_hasDate ? "Last-Modified: Mon, 02 Jan 2023 03:04:05 GMT\r\n" : "");
}

MoodyAnswer MoodyFile::soundAnswer(const ScriptedRequest &request, QRandomGenerator &chance) const
{
    const Form form = formFor(request, chance);
    return form.wear(form.pickDress(m_tellsSize, chance), m_size, chance);
}

MoodyAnswer MoodyFile::faultyAnswer(const ScriptedRequest &request, bool isReused, QRandomGenerator &chance) const
{
    static const QByteArray busy = "503 Service Unavailable";
    static const QByteArray tooMany = "429 Too Many Requests";
    Form form = formFor(request, chance);
    Form::Dress dress = form.pickDress(m_tellsSize, chance);
    const int kind = chance.bounded(100); // below 50, and where nothing else fits: cut
    if (kind >= 50 && kind < 65) {
        form = Form{happens(chance, 50) ? busy : tooMany, "Retry-After: 0\r\n", "later", false, false, 0, -1};
    } else if (kind >= 65 && kind < 75 && form.isPartial) {
        dress.wrongBy = 1 + chance.bounded(1000);
    } else if (kind >= 75 && kind < 80 && form.statusLine.startsWith("20")) {
        dress.framing = Framing::Chunked;
        dress.coding = "gzip, ";
    } else if (kind >= 80 && form.isPartial) {
        ScriptedRequest whole = request;
        whole.headers.removeIf([](const ScriptedRequest::Header &header) { return header.first == "Range"; });
        form = formFor(whole, chance);
        dress = form.pickDress(m_tellsSize, chance);
    } else {
        // What ends by closing alone is whole wherever it is closed.
        const bool mayClose = dress.framing != Framing::Close || form.isPartial;
        return cutSomewhere(form.wear(dress, m_size, chance), mayClose, isReused, chance);
    }
    MoodyAnswer answer = form.wear(dress, m_size, chance);
    answer.isFaulty = true;
    return answer;
}
