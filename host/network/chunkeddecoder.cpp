// SPDX-License-Identifier: MIT
#include <host/network/chunkeddecoder.h>

#include <host/network/fieldline.h>

#include <algorithm>
#include <limits>

using namespace Qt::StringLiterals;

namespace
{

constexpr qsizetype kLongestSizeLine = 16 * 1024;
constexpr qsizetype kMostTrailers = 64 * 1024;
constexpr qint64 kLargestChunk = std::numeric_limits<qint64>::max();
constexpr int kBase = 16;

/// -1 = it is none.
int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

/// What may stand in quotation marks, behind a backslash in them included: no control character but the tab.
bool isText(char c)
{
    const auto code = static_cast<unsigned char>(c);
    return c == '\t' || (code >= 0x20 && code != 0x7f);
}

QString shown(char c)
{
    const auto code = static_cast<unsigned char>(c);
    if (code > 0x20 && code < 0x7f)
        return u"\"%1\""_s.arg(QLatin1Char(c));
    return u"the byte 0x%1"_s.arg(code, 2, kBase, QLatin1Char('0'));
}

}

QByteArrayView ChunkedDecoder::next(QByteArrayView *raw)
{
    while (!raw->isEmpty() && !isAtEnd() && m_complaint.isEmpty()) {
        if (m_state == State::InData)
            return takeData(raw);
        if (take(raw->front()))
            *raw = raw->sliced(1);
    }
    return {};
}

QByteArrayView ChunkedDecoder::takeData(QByteArrayView *raw)
{
    const qint64 count = std::min<qint64>(m_remaining, raw->size());
    const QByteArrayView data = raw->first(count);
    *raw = raw->sliced(count);
    m_remaining -= count;
    if (m_remaining == 0)
        goTo(State::DataReturn);
    return data;
}

bool ChunkedDecoder::take(char c)
{
    switch (m_state) {
    case State::DataReturn:
        return takeExpected(c, '\r', State::DataLineFeed);
    case State::DataLineFeed:
        return takeExpected(c, '\n', State::SizeBegins);
    case State::InTrailers:
    case State::TrailerLineFeed:
        return takeOfTrailers(c);
    case State::InData:
    case State::AtEnd:
        return false;
    default:
        return takeOfSizeLine(c);
    }
}

bool ChunkedDecoder::takeOfSizeLine(char c)
{
    if (++m_lineSize > kLongestSizeLine)
        return refuse(u"the line with a chunk's size is longer than %1 KiB"_s.arg(kLongestSizeLine / 1024));
    switch (m_state) {
    case State::SizeBegins:
    case State::InSize:
        return takeOfSize(c);
    case State::SizeLineFeed:
        return endSizeLine(c);
    default:
        return takeOfExtension(c);
    }
}

bool ChunkedDecoder::takeOfSize(char c)
{
    const int digit = hexDigit(c);
    if (digit < 0 && m_state == State::SizeBegins)
        return refuse(u"%1 stands where the size of a chunk should"_s.arg(shown(c)));
    if (digit < 0)
        return takeItemEnd(c, State::BeforeExtension);
    if (m_remaining > kLargestChunk / kBase)
        return refuse(u"the size of a chunk is beyond 2^63-1"_s);
    m_remaining = m_remaining * kBase + digit;
    return goTo(State::InSize);
}

bool ChunkedDecoder::takeOfExtension(char c)
{
    switch (m_state) {
    case State::NameBegins:
    case State::InName:
    case State::BehindName:
        return takeOfName(c);
    case State::ValueBegins:
    case State::InValue:
        return takeOfValue(c);
    case State::InQuotes:
    case State::Escaped:
        return takeOfQuotes(c);
    case State::BeforeExtension:
        if (c == '\r')
            return refuseByte(c, u"behind the white space"_s);
        return takeItemEnd(c, State::BeforeExtension);
    default:
        return takeItemEnd(c, State::BeforeExtension);
    }
}

bool ChunkedDecoder::takeOfName(char c)
{
    const bool hasBegun = m_state != State::NameBegins;
    if (FieldLine::isTokenCharacter(c) && m_state != State::BehindName)
        return goTo(State::InName);
    if (FieldLine::isWhiteSpace(c) && !hasBegun)
        return true;
    if (c == '=' && hasBegun)
        return goTo(State::ValueBegins);
    if (!hasBegun || (c == '\r' && m_state == State::BehindName))
        return refuseByte(c, u"in the name of an extension"_s);
    return takeItemEnd(c, State::BehindName);
}

bool ChunkedDecoder::takeOfValue(char c)
{
    const bool hasBegun = m_state == State::InValue;
    if (FieldLine::isTokenCharacter(c))
        return goTo(State::InValue);
    if (hasBegun)
        return takeItemEnd(c, State::BeforeExtension);
    if (FieldLine::isWhiteSpace(c))
        return true;
    return c == '"' ? goTo(State::InQuotes) : refuseByte(c, u"in the value of an extension"_s);
}

bool ChunkedDecoder::takeOfQuotes(char c)
{
    if (!isText(c))
        return refuseByte(c, u"in quotation marks"_s);
    if (m_state == State::Escaped)
        return goTo(State::InQuotes);
    if (c == '\\')
        return goTo(State::Escaped);
    return c == '"' ? goTo(State::BehindQuotes) : true;
}

bool ChunkedDecoder::takeItemEnd(char c, State afterWhiteSpace)
{
    if (FieldLine::isWhiteSpace(c))
        return goTo(afterWhiteSpace);
    if (c == ';')
        return goTo(State::NameBegins);
    return c == '\r' ? goTo(State::SizeLineFeed) : refuseByte(c, u"behind the size"_s);
}

bool ChunkedDecoder::endSizeLine(char c)
{
    m_lineSize = 0;
    return takeExpected(c, '\n', m_remaining > 0 ? State::InData : State::InTrailers);
}

bool ChunkedDecoder::takeOfTrailers(char c)
{
    if (++m_trailersSize > kMostTrailers)
        return refuse(u"what follows the last chunk is longer than %1 KiB"_s.arg(kMostTrailers / 1024));
    if (m_state == State::TrailerLineFeed)
        return endTrailerLine(c);
    if (c == '\r')
        return goTo(State::TrailerLineFeed);
    if (c == '\n')
        return refuseByte(c, u"behind the last chunk"_s);
    m_line += c;
    return true;
}

bool ChunkedDecoder::endTrailerLine(char c)
{
    if (c != '\n' || m_line.isEmpty())
        return takeExpected(c, '\n', State::AtEnd);
    const bool continuesOne = m_hasTrailer && FieldLine::isWhiteSpace(m_line.front());
    const QString wrong = continuesOne ? FieldLine::strayByteIn(m_line) : FieldLine::of(m_line).complaint;
    if (!wrong.isEmpty())
        return refuse(u"behind the last chunk, %1"_s.arg(wrong));
    m_hasTrailer = true;
    m_line.clear();
    return goTo(State::InTrailers);
}

bool ChunkedDecoder::takeExpected(char c, char expected, State then)
{
    if (c == expected)
        return goTo(then);
    return refuse(u"%1 stands where %2 should"_s.arg(shown(c), shown(expected)));
}

bool ChunkedDecoder::goTo(State state)
{
    m_state = state;
    return true;
}

bool ChunkedDecoder::refuseByte(char c, const QString &place)
{
    return refuse(u"%1 stands %2"_s.arg(shown(c), place));
}

bool ChunkedDecoder::refuse(const QString &detail)
{
    m_complaint = u"The chunks of the server's answer cannot be read: %1."_s.arg(detail);
    return false;
}
