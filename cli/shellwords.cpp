// SPDX-License-Identifier: MIT
#include <cli/shellwords.h>

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace
{

constexpr QStringView kOperators = u"|&;()<";
constexpr QStringView kEscapedInQuotes = u"$`\"\\";

/// Reads as sh does, from left to right.
class Reader
{
public:
    explicit Reader(const QString &line)
        : m_line(line)
    {
    }

    ShellWords::Split split()
    {
        while (!isAtEnd() && m_split.problem.isEmpty() && m_split.rest.isEmpty())
            readSign(next());
        endWord();
        return m_split;
    }

private:
    bool isAtEnd() const { return m_at >= m_line.size(); }
    QChar next() { return m_line.at(m_at++); }
    QChar ahead() const { return isAtEnd() ? QChar() : m_line.at(m_at); }

    void readSign(QChar sign)
    {
        if (sign.isSpace())
            endWord();
        else if (sign == u'\'')
            readPlain();
        else if (sign == u'"')
            readQuoted();
        else if (sign == u'$' && ahead() == u'\'')
            readAnsi();
        else if (sign == u'\\')
            readEscape();
        else if (sign == u'>')
            readOutput();
        else if (kOperators.contains(sign))
            m_split.rest = m_line.sliced(m_at - 1).trimmed();
        else
            add(checked(sign));
    }

    void add(QChar sign)
    {
        m_word += sign;
        m_isWord = true;
    }

    void endWord()
    {
        if (m_isWord && m_isOutput)
            m_split.output = m_word;
        else if (m_isWord)
            m_split.words.append(m_word);
        m_isOutput = m_isOutput && !m_isWord;
        m_word.clear();
        m_isWord = false;
    }

    /// What a shell puts in the place of a name, nobody here knows.
    QChar checked(QChar sign)
    {
        static const QRegularExpression name(u"\\G(?:[A-Za-z_]\\w*|\\{[^}]*\\}?|\\()"_s);
        const QRegularExpressionMatch match = name.match(m_line, m_at);
        if (sign == u'`' || (sign == u'$' && match.hasMatch()))
            m_split.problem =
                u"\"%1\" stands for something that only a shell knows. Leave out the quotes around the "
                "whole line, so that your shell reads it: plait import -- curl …"_s.arg(sign + match.captured());
        return sign;
    }

    void readPlain()
    {
        const qsizetype end = m_line.indexOf(u'\'', m_at);
        m_word += m_line.sliced(m_at, (end < 0 ? m_line.size() : end) - m_at);
        m_isWord = true;
        m_at = end < 0 ? m_line.size() : end + 1;
        m_split.problem = end < 0 ? unclosed() : m_split.problem;
    }

    void readQuoted()
    {
        m_isWord = true;
        while (!isAtEnd() && ahead() != u'"') {
            const QChar sign = next();
            if (sign == u'\\' && ahead() == u'\n')
                next();
            else if (sign == u'\\' && kEscapedInQuotes.contains(ahead()))
                add(next());
            else
                add(checked(sign));
        }
        if (isAtEnd())
            m_split.problem = unclosed();
        else
            next();
    }

    /// A line that is continued is one line.
    void readEscape()
    {
        if (ahead() == u'\r')
            next();
        if (isAtEnd())
            return;
        const QChar sign = next();
        if (sign != u'\n')
            add(sign);
    }

    void readAnsi()
    {
        next();
        m_isWord = true;
        while (!isAtEnd() && ahead() != u'\'') {
            const QChar sign = next();
            if (sign == u'\\' && !isAtEnd())
                m_word += ansiEscape();
            else
                m_word += sign;
        }
        if (isAtEnd())
            m_split.problem = unclosed();
        else
            next();
    }

    QString ansiEscape()
    {
        static const QRegularExpression code(u"\\G(?:u([0-9a-fA-F]{1,4})|x([0-9a-fA-F]{1,2}))"_s);
        const QRegularExpressionMatch match = code.match(m_line, m_at);
        if (match.hasMatch()) {
            m_at = match.capturedEnd();
            return QChar(char16_t((match.captured(1) + match.captured(2)).toUInt(nullptr, 16)));
        }
        const QChar sign = next();
        if (sign == u'n')
            return u"\n"_s;
        if (sign == u'r')
            return u"\r"_s;
        return sign == u't' ? u"\t"_s : QString(sign);
    }

    /// "2>" says where errors go, which is nobody's business here.
    void readOutput()
    {
        const bool isOfErrors = m_word == "2"_L1;
        if (isOfErrors)
            m_word.clear();
        m_isWord = m_isWord && !isOfErrors;
        endWord();
        if (ahead() == u'>')
            next();
        if (isOfErrors || ahead() == u'&')
            m_split.rest = m_line.sliced(m_at - 1).trimmed();
        m_isOutput = true;
    }

    static QString unclosed() { return u"a quote is open at the end of the line. Copy the whole of it."_s; }

    const QString m_line;
    qsizetype m_at = 0;
    QString m_word;
    bool m_isWord = false; ///< also of an empty one, in quotes
    bool m_isOutput = false; ///< the next word names a file
    ShellWords::Split m_split;
};

bool isOfCmd(const QString &line)
{
    static const QRegularExpression caret(u"\\^(?:\\r?\\n|\")"_s);
    return line.contains(caret);
}

/// What cmd.exe leaves of a line: a caret takes the next sign for what it is, and joins lines; within quotes it is one.
QString withoutCarets(const QString &line)
{
    QString result;
    bool isQuoted = false;
    for (qsizetype i = 0; i < line.size(); ++i) {
        const QChar sign = line.at(i);
        if (sign != u'^' || isQuoted) {
            isQuoted = sign == u'"' ? !isQuoted : isQuoted;
            result += sign;
            continue;
        }
        ++i;
        if (i < line.size() && line.at(i) == u'\r')
            ++i;
        if (i < line.size() && line.at(i) != u'\n')
            result += line.at(i);
    }
    return result;
}

/// As programs there take such a line apart: quotes, doubled within quotes or behind a backslash where they are meant.
QStringList wordsOfCmd(const QString &line)
{
    QStringList words;
    QString word;
    bool isQuoted = false;
    bool isWord = false;
    for (qsizetype i = 0; i < line.size(); ++i) {
        const QChar sign = line.at(i);
        const bool isQuoteNext = i + 1 < line.size() && line.at(i + 1) == u'"';
        if (isQuoteNext && (sign == u'\\' || (sign == u'"' && isQuoted))) {
            word += line.at(++i);
            isWord = true;
        } else if (sign == u'"') {
            isQuoted = !isQuoted;
            isWord = true;
        } else if (!isQuoted && sign.isSpace()) {
            words += isWord ? QStringList{word} : QStringList();
            word.clear();
            isWord = false;
        } else {
            word += sign;
            isWord = true;
        }
    }
    return isWord ? words + QStringList{word} : words;
}

}

ShellWords::Split ShellWords::split(const QString &line)
{
    if (isOfCmd(line))
        return {wordsOfCmd(withoutCarets(line)), {}, {}, {}};
    return Reader(line).split();
}
