// SPDX-License-Identifier: MIT
#include <host/network/answerhead.h>

#include <host/network/fieldline.h>

#include <QHash>

using namespace Qt::StringLiterals;

namespace
{

constexpr qsizetype kLongestLine = 100 * 1024;
constexpr qsizetype kLargestHead = 300 * 1024;
constexpr int kMostInterimAnswers = 64;
constexpr int kSwitchingProtocols = 101;
constexpr int kFirstStatus = 100;
constexpr int kFirstFinalStatus = 200;
constexpr qsizetype kStatusDigits = 3;

struct StatusLine {
    int majorVersion = 0;
    int minorVersion = 0;
    int status = 0;
    QByteArrayView reason;
};

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

/// Takes a digit off the front; -1 = there is none.
int digitOff(QByteArrayView *text)
{
    if (text->isEmpty() || !isDigit(text->front()))
        return -1;
    const int digit = text->front() - '0';
    *text = text->sliced(1);
    return digit;
}

bool takeOff(QByteArrayView *text, QByteArrayView prefix)
{
    if (!text->startsWith(prefix))
        return false;
    *text = text->sliced(prefix.size());
    return true;
}

/// "HTTP/2" has no minor version.
bool takeVersion(QByteArrayView *text, StatusLine *line)
{
    if (!takeOff(text, "HTTP/"))
        return false;
    line->majorVersion = digitOff(text);
    if (takeOff(text, "."))
        line->minorVersion = digitOff(text);
    return line->majorVersion >= 0 && line->minorVersion >= 0 && takeOff(text, " ");
}

bool takeStatus(QByteArrayView *text, StatusLine *line)
{
    for (qsizetype i = 0; i < kStatusDigits; ++i) {
        const int digit = digitOff(text);
        if (digit < 0)
            return false;
        line->status = line->status * 10 + digit;
    }
    return line->status >= kFirstStatus;
}

/// Many servers leave out the blank in front of an empty reason.
bool read(QByteArrayView text, StatusLine *line)
{
    if (!takeVersion(&text, line) || !takeStatus(&text, line))
        return false;
    const bool hasReason = takeOff(&text, " ");
    line->reason = text;
    return hasReason || text.isEmpty();
}

QString unreadable(const QString &detail)
{
    return detail.isEmpty() ? detail : u"The head of the server's answer cannot be read: %1."_s.arg(detail);
}

QString tooLong(const QString &what, qsizetype limit)
{
    return unreadable(u"%1 is longer than %2 KiB"_s.arg(what, QString::number(limit / 1024)));
}

QByteArrayView withoutLineEnd(QByteArrayView line)
{
    line.chop(1);
    if (line.endsWith('\r'))
        line.chop(1);
    return line;
}

bool isNamed(const AnswerHead::Field &field, QByteArrayView name)
{
    return field.first.compare(name, Qt::CaseInsensitive) == 0;
}

void join(AnswerHead::Field *joined, const QByteArray &value)
{
    if (joined->second.isEmpty() || isNamed(*joined, "Location"))
        joined->second = value;
    else
        joined->second += (isNamed(*joined, "Set-Cookie") ? "\n" : ", ") + value;
}

}

QString AnswerHead::addLine(QByteArrayView line)
{
    if (m_complaint.isEmpty() && !isComplete())
        m_complaint = taken(line);
    return m_complaint;
}

void AnswerHead::beginAnew()
{
    *this = AnswerHead();
}

QList<QByteArray> AnswerHead::values(QByteArrayView name) const
{
    QList<QByteArray> result;
    for (const Field &field : m_fields) {
        if (isNamed(field, name))
            result += field.second;
    }
    return result;
}

QList<AnswerHead::Field> AnswerHead::joinedFields() const
{
    QList<Field> result;
    QHash<QByteArray, qsizetype> places;
    for (const Field &field : m_fields) {
        const QByteArray name = field.first.toLower();
        const auto place = places.constFind(name);
        if (place != places.constEnd()) {
            join(&result[*place], field.second);
            continue;
        }
        places.insert(name, result.size());
        result += field;
    }
    result.removeIf([](const Field &field) { return field.second.isEmpty(); });
    return result;
}

QString AnswerHead::taken(QByteArrayView line)
{
    m_size += line.size();
    if (line.size() > kLongestLine)
        return tooLong(u"a line"_s, kLongestLine);
    if (m_size > kLargestHead)
        return tooLong(u"it"_s, kLargestHead);
    if (!line.endsWith('\n'))
        return unreadable(u"it breaks off within a line"_s);
    const QByteArrayView text = withoutLineEnd(line);
    if (m_state == State::AtStatusLine)
        return takenStatusLine(text);
    if (!text.isEmpty())
        return takenField(text);
    endHead();
    return {};
}

QString AnswerHead::takenStatusLine(QByteArrayView text)
{
    const QString stray = FieldLine::strayByteIn(text);
    return stray.isEmpty() ? beginsHead(text) : unreadable(stray);
}

QString AnswerHead::beginsHead(QByteArrayView text)
{
    StatusLine line;
    if (!read(text, &line))
        return unreadable(u"it begins with %1, which is no status line"_s.arg(FieldLine::quoted(text)));
    m_majorVersion = line.majorVersion;
    m_minorVersion = line.minorVersion;
    m_status = line.status;
    m_reason = line.reason.toByteArray();
    m_fields.clear();
    m_state = State::InFields;
    if (m_status == kSwitchingProtocols)
        return u"The server switched to another protocol (status 101), which nobody asked for."_s;
    if (isInterim() && ++m_interimCount > kMostInterimAnswers)
        return u"The server sent more than %1 interim answers and no final one."_s.arg(kMostInterimAnswers);
    return {};
}

QString AnswerHead::takenField(QByteArrayView text)
{
    if (FieldLine::isWhiteSpace(text.front()))
        return unreadable(continuedField(text));
    const FieldLine line = FieldLine::of(text);
    if (line.complaint.isEmpty())
        m_fields += Field(line.name.toByteArray(), line.value.toByteArray());
    return unreadable(line.complaint);
}

QString AnswerHead::continuedField(QByteArrayView text)
{
    if (m_fields.isEmpty())
        return u"its first field begins with white space"_s;
    const QByteArrayView more = FieldLine::withoutWhiteSpace(text);
    QByteArray &value = m_fields.back().second;
    if (!value.isEmpty() && !more.isEmpty())
        value += ' ';
    value += more;
    return FieldLine::strayByteIn(text);
}

void AnswerHead::endHead()
{
    m_state = isInterim() ? State::AtStatusLine : State::Complete;
    m_size = 0;
}

bool AnswerHead::isInterim() const
{
    return m_status < kFirstFinalStatus;
}
