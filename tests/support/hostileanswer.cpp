// SPDX-License-Identifier: MIT
#include <tests/support/hostileanswer.h>

#include <tests/support/testfiles.h>

#include <algorithm>

namespace
{
using Fault = HostileFault;
using End = PacedAnswer::End;
using Framing = HostileResource::Framing;

constexpr qint64 kKibibyte = 1024;
constexpr int kChunks = 20;
constexpr quint64 kPageContent = 15;
constexpr int kLargestPage = 3000;

bool happens(QRandomGenerator &chance, int percent)
{
    return chance.bounded(100) < percent;
}

QByteArray number(qint64 value)
{
    return QByteArray::number(value);
}

qint64 below(QRandomGenerator &chance, qint64 bound)
{
    return bound <= 0 ? 0 : chance.bounded(bound);
}

qint64 sizeOf(const QList<HostileReading::Piece> &pieces)
{
    qint64 size = 0;
    for (const HostileReading::Piece &piece : pieces)
        size += piece.size;
    return size;
}

QByteArray bytesOf(const QList<HostileReading::Piece> &pieces)
{
    QByteArray bytes;
    for (const HostileReading::Piece &piece : pieces)
        bytes += TestFiles::content(piece.content, piece.at, piece.size);
    return bytes;
}

QList<HostileReading::Piece> cutTo(const QList<HostileReading::Piece> &pieces, qint64 size)
{
    QList<HostileReading::Piece> cut;
    for (HostileReading::Piece piece : pieces) {
        piece.size = std::min(piece.size, size - sizeOf(cut));
        if (piece.size > 0)
            cut.append(piece);
    }
    return cut;
}
}

qint64 HostileReading::size() const
{
    return sizeOf(pieces);
}

/// An answer before it has become bytes, sound at first.
struct HostileAnswerMaker::Draft {
    QByteArray statusLine = "200 OK"; ///< behind the version
    HostileVersion said; ///< whose validators it shows
    QList<HostileReading::Piece> body;
    bool isPiece = false; ///< 206
    bool hasContentRange = true; ///< of a 206
    qint64 from = 0; ///< where it says that it begins
    qint64 asked = 0; ///< where it should
    qint64 total = -1; ///< as its Content-Range has it
    QByteArray moreFields;
    Framing framing = Framing::Length;
    qint64 announced = -1; ///< bytes of the body; -1: as many as there are
    qint64 cutAt = -1; ///< bytes of the body behind which it ends; -1: it does not
    qint64 nonsenseAt = -1; ///< bytes of the body behind which a chunk makes no sense
    bool lacksEnd = false; ///< the last chunk is missing
    bool isUnreadable = false; ///< contradicts itself or the request
    End end = End::KeepOpen;

    qint64 size() const { return sizeOf(body); }
    qint64 announcedSize() const { return announced < 0 ? size() : announced; }

    QByteArray head() const
    {
        QByteArray head = "HTTP/1.1 " + statusLine + "\r\n" + said.fields() + moreFields;
        if (isPiece && hasContentRange)
            head += "Content-Range: bytes " + number(from) + '-' + number(from + size() - 1) + '/'
                + (total < 0 ? "*" : number(total)) + "\r\n";
        if (framing == Framing::Chunked)
            head += "Transfer-Encoding: chunked\r\n";
        else if (framing == Framing::Length)
            head += "Content-Length: " + number(announcedSize()) + "\r\n";
        return head + (end == End::KeepOpen ? "" : "Connection: close\r\n") + "\r\n";
    }

    QByteArray chunks(const QByteArray &sent) const
    {
        QByteArray bytes;
        const qsizetype most = sent.size() / kChunks + 1;
        const qsizetype sound = nonsenseAt < 0 ? sent.size() : std::min<qsizetype>(nonsenseAt, sent.size());
        for (qsizetype at = 0; at < sound; at += most) {
            const QByteArray chunk = sent.mid(at, std::min(most, sound - at));
            bytes += QByteArray::number(chunk.size(), 16) + "\r\n" + chunk + "\r\n";
        }
        if (nonsenseAt >= 0)
            return bytes + "rubbish\r\n" + sent.mid(sound);
        return bytes + (lacksEnd ? "" : "0\r\n\r\n");
    }

    QByteArray wire() const
    {
        const QByteArray sent = bytesOf(cutAt < 0 ? body : cutTo(body, cutAt));
        if (framing != Framing::Chunked)
            return head() + sent;
        Draft open = *this;
        open.lacksEnd = lacksEnd || cutAt >= 0;
        return head() + open.chunks(sent);
    }

    bool isEndMet(qint64 readable) const
    {
        if (nonsenseAt >= 0 || lacksEnd || end == End::Reset)
            return false;
        if (framing == Framing::Length)
            return readable == announcedSize();
        // What ends by closing alone is whole wherever it closes.
        return cutAt < 0 || (framing == Framing::Close && !isPiece);
    }

    HostileReading reading() const
    {
        HostileReading reading;
        const bool byLength = framing == Framing::Length;
        qint64 readable = cutAt < 0 ? size() : std::min(size(), cutAt);
        readable = nonsenseAt < 0 ? readable : std::min(readable, nonsenseAt);
        readable = byLength ? std::min(readable, announcedSize()) : readable;
        reading.isUsable = !isUnreadable && (!isPiece || (hasContentRange && from == asked));
        reading.from = isPiece ? from : 0;
        reading.pieces = cutTo(body, readable);
        reading.isWhole = isEndMet(readable);
        if (isPiece)
            reading.total = total;
        else
            reading.total = byLength ? announcedSize() : -1;
        reading.isProof = !isPiece && reading.isWhole && framing != Framing::Close;
        reading.etag = said.etag;
        reading.modified = said.modified;
        return reading;
    }
};

HostileAnswerMaker::HostileAnswerMaker(const HostileResource &resource, const HostileVersion &version,
                                       const HostileVersion &next, QRandomGenerator &chance)
    : m_resource(resource)
    , m_version(version)
    , m_next(next)
    , m_chance(chance)
{
}

HostileAnswerMaker::Draft HostileAnswerMaker::draftFor(const ScriptedRequest &request) const
{
    Draft draft;
    draft.said = m_version;
    draft.total = m_version.size;
    if (!m_resource.acceptRanges.isEmpty())
        draft.moreFields = "Accept-Ranges: " + m_resource.acceptRanges + "\r\n";
    const QByteArray range = request.header("Range");
    const QByteArray first = range.mid(6).split('-').value(0);
    const QByteArray last = range.mid(6).split('-').value(1);
    const qint64 from = first.toLongLong();
    const qint64 to = last.isEmpty() ? m_version.size - 1 : std::min(last.toLongLong(), m_version.size - 1);
    draft.asked = from;
    draft.isPiece = range.startsWith("bytes=") && m_resource.honoursRanges;
    if (draft.isPiece && from >= m_version.size) {
        draft.isPiece = false;
        draft.isUnreadable = true;
        draft.statusLine = "416 Range Not Satisfiable";
        draft.moreFields += "Content-Range: bytes */" + number(m_version.size) + "\r\n";
    } else if (draft.isPiece) {
        draft.statusLine = "206 Partial Content";
        draft.from = from;
        draft.body = {{m_version.content, from, to - from + 1}};
    } else {
        draft.body = {{m_version.content, 0, m_version.size}};
    }
    return draft;
}

void HostileAnswerMaker::spoilValidators(Fault fault, Draft &draft) const
{
    if (fault == Fault::OtherETag)
        draft.said.etag = "\"other\"";
    else if (fault == Fault::NoETag)
        draft.said.etag.clear();
    else if (fault == Fault::WeakETag && !draft.said.etag.isEmpty() && !draft.said.etag.startsWith("W/"))
        draft.said.etag.prepend("W/");
    else if (fault == Fault::OtherDate)
        draft.said.modified += 3600;
    else if (fault == Fault::NoDate)
        draft.said.modified = 0;
    if (fault == Fault::OtherETag && draft.said.etagName.isEmpty())
        draft.said.etagName = "ETag";
}

/// Where it means nothing for the request the answer stays sound.
void HostileAnswerMaker::spoilRange(Fault fault, Draft &draft)
{
    if (fault == Fault::PieceToWhole && !draft.isPiece && !draft.isUnreadable && m_version.size > 1) {
        draft.isPiece = true;
        draft.statusLine = "206 Partial Content";
        draft.body = cutTo(draft.body, 1 + below(m_chance, m_version.size - 1));
        draft.isUnreadable = true;
    }
    if (!draft.isPiece || draft.isUnreadable)
        return;
    HostileReading::Piece &body = draft.body.first();
    switch (fault) {
    case Fault::OtherPlace:
        body.at = below(m_chance, m_version.size);
        body.size = m_version.size - body.at;
        draft.from = body.at;
        break;
    case Fault::OtherPlaceUnsaid:
        body.at = below(m_chance, m_version.size - body.size + 1);
        break;
    case Fault::HeadInPlaceOfRange:
        body.at = 0;
        break;
    case Fault::WholeToRange:
        draft.isPiece = false;
        draft.statusLine = "200 OK";
        draft.body = {{m_version.content, 0, m_version.size}};
        break;
    case Fault::WrongTotal:
        draft.total += happens(m_chance, 50) ? 1 + below(m_chance, 1000) : -1;
        draft.isUnreadable = draft.total < draft.from + body.size;
        break;
    case Fault::NoTotal:
        draft.total = -1;
        break;
    case Fault::SmallerPiece:
        body.size = 1 + below(m_chance, happens(m_chance, 30) ? std::min(body.size, kKibibyte) : body.size);
        break;
    case Fault::SeveralPieces:
        draft.moreFields += "Content-Type: multipart/byteranges; boundary=b\r\n";
        draft.isUnreadable = true;
        break;
    case Fault::NoContentRange:
        draft.hasContentRange = false;
        break;
    case Fault::EmptyPiece:
        draft.cutAt = 0;
        draft.end = End::Close;
        break;
    default:
        break;
    }
}

void HostileAnswerMaker::spoilFraming(Fault fault, Draft &draft)
{
    const qint64 size = draft.size();
    switch (fault) {
    case Fault::LengthTooSmall:
        draft.framing = Framing::Length;
        draft.announced = below(m_chance, size);
        draft.isUnreadable |= draft.isPiece && draft.announced != size;
        draft.end = End::Close;
        break;
    case Fault::LengthTooLarge:
        draft.framing = Framing::Length;
        draft.announced = size + 1 + below(m_chance, 1000);
        draft.isUnreadable |= draft.isPiece;
        draft.end = End::Close;
        break;
    case Fault::TwoLengths:
        draft.framing = Framing::Length;
        draft.moreFields += "Content-Length: " + number(size / 2) + "\r\n";
        draft.isUnreadable |= size / 2 != size;
        draft.end = End::Close;
        break;
    case Fault::Cut:
        draft.cutAt = below(m_chance, size);
        draft.end = happens(m_chance, 50) ? End::Close : End::Reset;
        break;
    case Fault::CutAfterKibibyte:
        draft.cutAt = std::min(size, kKibibyte);
        draft.end = End::Close;
        break;
    case Fault::ChunkOfNonsense:
        draft.framing = Framing::Chunked;
        draft.nonsenseAt = below(m_chance, size);
        draft.end = End::Close;
        break;
    case Fault::NoLastChunk:
        draft.framing = Framing::Chunked;
        draft.lacksEnd = true;
        draft.end = End::Close;
        break;
    case Fault::ChunkedWithLength:
        draft.framing = Framing::Chunked;
        draft.moreFields += "Content-Length: " + number(below(m_chance, size + 100)) + "\r\n";
        draft.end = End::Close;
        break;
    case Fault::CutWithoutLength:
        draft.framing = Framing::Close;
        draft.cutAt = below(m_chance, size);
        draft.end = End::Close;
        break;
    case Fault::EmptyFile:
        draft.framing = Framing(m_chance.bounded(3));
        draft.cutAt = draft.isPiece ? 0 : -1;
        draft.body = draft.isPiece ? draft.body : QList<HostileReading::Piece>();
        draft.end = End::Close;
        break;
    default:
        break;
    }
}

bool HostileAnswerMaker::answersOtherwise(Fault fault, HostileAnswer *answer)
{
    switch (fault) {
    case Fault::NoAnswer:
        answer->paced.end = happens(m_chance, 50) ? End::Close : End::Reset;
        return true;
    case Fault::NotFound:
        *answer = status("404 Not Found");
        return true;
    case Fault::Gone:
        *answer = status("410 Gone");
        return true;
    case Fault::Forbidden:
        *answer = status("403 Forbidden");
        return true;
    case Fault::TooMany:
        *answer = status("429 Too Many Requests", "Retry-After: 0\r\n");
        return true;
    case Fault::TooManyForASecond:
        *answer = status("429 Too Many Requests", "Retry-After: 1\r\n");
        return true;
    case Fault::ServerError:
        *answer = status("500 Internal Server Error");
        return true;
    case Fault::Unavailable:
        *answer = status("503 Service Unavailable");
        return true;
    case Fault::NotSatisfiable:
        *answer = status("416 Range Not Satisfiable", "Content-Range: bytes */" + number(m_version.size) + "\r\n");
        return true;
    case Fault::NoContent:
        answer->paced.bytes = "HTTP/1.1 204 No Content\r\n\r\n";
        return true;
    case Fault::LoginPage:
        *answer = loginPage();
        return true;
    case Fault::RedirectNowhere:
        *answer = status("302 Found");
        return true;
    default:
        return false;
    }
}

HostileAnswer HostileAnswerMaker::answer(const ScriptedRequest &request, Fault fault)
{
    HostileAnswer answer;
    if (fault == Fault::RedirectToItself)
        answer = redirect(request.target);
    else if (!answersOtherwise(fault, &answer)) {
        Draft draft = draftFor(request);
        const bool isAnyFraming = m_resource.framing == Framing::Any;
        if (!draft.isPiece && !draft.isUnreadable)
            draft.framing = isAnyFraming ? Framing(m_chance.bounded(3)) : m_resource.framing;
        if (m_resource.change == HostileResource::Change::WithinBody && draft.size() > 1 && happens(m_chance, 30)) {
            HostileReading::Piece &body = draft.body.first();
            HostileReading::Piece rest = body;
            body.size = 1 + below(m_chance, body.size - 1);
            rest.content = m_next.content;
            rest.at += body.size;
            rest.size -= body.size;
            draft.body.append(rest);
        }
        spoilValidators(fault, draft);
        spoilRange(fault, draft);
        spoilFraming(fault, draft);
        answer = finished(draft);
    }
    answer.fault = fault;
    return answer;
}

HostileAnswer HostileAnswerMaker::finished(const Draft &draft)
{
    Draft closed = draft;
    if (closed.framing == Framing::Close && closed.end == End::KeepOpen)
        closed.end = End::Close;
    HostileAnswer answer;
    answer.paced.bytes = closed.wire();
    answer.paced.end = closed.end;
    answer.reading = closed.reading();
    pace(answer.paced);
    return answer;
}

HostileAnswer HostileAnswerMaker::redirect(const QByteArray &location)
{
    static const QList<QByteArray> lines{
        "301 Moved Permanently", "302 Found", "302 Found", "303 See Other", "307 Temporary Redirect",
        "308 Permanent Redirect"};
    return status(lines.at(m_chance.bounded(int(lines.size()))), "Location: " + location + "\r\n");
}

HostileAnswer HostileAnswerMaker::status(const QByteArray &line, const QByteArray &fields)
{
    HostileAnswer answer;
    answer.paced.bytes = "HTTP/1.1 " + line + "\r\n" + fields + "Content-Length: 4\r\n\r\nwell";
    return answer;
}

HostileAnswer HostileAnswerMaker::loginPage()
{
    Draft draft;
    draft.body = {{m_version.content / 16 * 16 + kPageContent, 0, 1 + m_chance.bounded(kLargestPage)}};
    draft.moreFields = "Content-Type: text/html\r\n";
    return finished(draft);
}

void HostileAnswerMaker::pace(PacedAnswer &answer)
{
    const qsizetype size = answer.bytes.size();
    answer.piece = m_resource.pieces == 0 ? 0 : size / m_resource.pieces + 1;
    answer.longestPauseMs = m_resource.longestPauseMs;
    if (happens(m_chance, m_resource.percentStalled))
        answer.stallsAt = below(m_chance, size);
}
