// SPDX-License-Identifier: MIT
#include <host/parsing/netrc.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

bool isBlank(char character)
{
    return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

/// Hands out the words of a text, and knows the line that it is in.
class Words
{
public:
    explicit Words(const QByteArray &text)
        : m_text(text)
    {
        if (m_text.startsWith("\xEF\xBB\xBF"))
            m_at = 3;
    }

    int line() const { return m_line; }

    /// Where a keyword would stand; nothing = the end.
    std::optional<QString> keyword()
    {
        skipBlanks();
        while (m_at < m_text.size() && m_text.at(m_at) == '#') {
            skipLine();
            skipBlanks();
        }
        return value();
    }

    /// The next word, whatever it begins with; nothing = the end, or a quote that is not closed.
    std::optional<QString> value()
    {
        skipBlanks();
        if (m_at >= m_text.size())
            return std::nullopt;
        return m_text.at(m_at) == '"' ? quoted() : plain();
    }

    /// A macro ends with the first empty line.
    void skipMacro()
    {
        skipLine();
        while (m_at < m_text.size()) {
            const qsizetype start = m_at;
            skipLine();
            if (m_text.mid(start, m_at - start).trimmed().isEmpty())
                return;
        }
    }

private:
    void step()
    {
        if (m_text.at(m_at) == '\n')
            ++m_line;
        ++m_at;
    }

    void skipBlanks()
    {
        while (m_at < m_text.size() && isBlank(m_text.at(m_at)))
            step();
    }

    void skipLine()
    {
        while (m_at < m_text.size() && m_text.at(m_at) != '\n')
            step();
        if (m_at < m_text.size())
            step();
    }

    QString plain()
    {
        const qsizetype start = m_at;
        while (m_at < m_text.size() && !isBlank(m_text.at(m_at)))
            step();
        return QString::fromUtf8(m_text.mid(start, m_at - start));
    }

    std::optional<QString> quoted()
    {
        QByteArray word;
        step();
        while (m_at < m_text.size() && m_text.at(m_at) != '"' && m_text.at(m_at) != '\n') {
            if (m_text.at(m_at) == '\\' && m_at + 1 < m_text.size())
                step();
            word += m_text.at(m_at);
            step();
        }
        if (m_at >= m_text.size() || m_text.at(m_at) != '"')
            return std::nullopt;
        step();
        return QString::fromUtf8(word);
    }

    const QByteArray m_text;
    qsizetype m_at = 0;
    int m_line = 1;
};

Clause complaint(int line, const Clause &what)
{
    return {Clause::Kind::InLine, {QString::number(line)}, what};
}

/// Takes the word behind a keyword into the entries. False = there is none such keyword here.
bool take(const QString &keyword, const QString &value, QList<Netrc::Entry> &entries)
{
    if (keyword == "machine"_L1) {
        entries.append({value.toLower(), {}, {}});
        return true;
    }
    if (entries.isEmpty())
        return false;
    Netrc::Entry &entry = entries.last();
    if (keyword == "login"_L1)
        entry.login.user = value;
    else if (keyword == "password"_L1)
        entry.login.password = value;
    else if (keyword == "account"_L1)
        entry.account = value;
    return true;
}

bool isKnown(const QString &keyword)
{
    return keyword == "machine"_L1 || keyword == "login"_L1 || keyword == "password"_L1 || keyword == "account"_L1
        || keyword == "macdef"_L1;
}

bool isFor(const Netrc::Entry &entry, const QString &user)
{
    return !entry.login.isEmpty() && (user.isEmpty() || entry.login.user == user);
}

}

std::optional<QList<Netrc::Entry>> Netrc::parse(const QByteArray &text, Clause *reason)
{
    QList<Entry> entries;
    Words words(text);
    while (const std::optional<QString> keyword = words.keyword()) {
        const int line = words.line();
        if (*keyword == "default"_L1) {
            entries.append(Entry());
            continue;
        }
        // What stands there is not repeated: it may well be a password.
        if (!isKnown(*keyword)) {
            *reason = complaint(line, Clause::Kind::StrayWord);
            return std::nullopt;
        }
        const std::optional<QString> value = words.value();
        if (!value) {
            *reason = complaint(line, {Clause::Kind::NoWordBehind, {*keyword}});
            return std::nullopt;
        }
        if (*keyword == "macdef"_L1) {
            words.skipMacro();
        } else if (!take(*keyword, *value, entries)) {
            *reason = complaint(line, {Clause::Kind::BeforeFirstMachine, {*keyword}});
            return std::nullopt;
        }
    }
    return entries;
}

std::optional<Netrc::Entry> Netrc::entryFor(const QList<Entry> &entries, const QString &host, bool mayUseDefault,
                                            const QString &user)
{
    const QString wanted = host.toLower();
    const auto find = [&entries, &user](const QString &machine) {
        return std::find_if(entries.cbegin(), entries.cend(), [&machine, &user](const Entry &entry) {
            return entry.machine == machine && isFor(entry, user);
        });
    };
    auto found = wanted.isEmpty() ? entries.cend() : find(wanted);
    if (found == entries.cend() && mayUseDefault)
        found = find(QString());
    return found == entries.cend() ? std::nullopt : std::optional(*found);
}

bool Netrc::isExposed(QFileDevice::Permissions permissions, const QList<Entry> &entries)
{
    const bool isOpen = permissions
        & (QFileDevice::ReadGroup | QFileDevice::ReadOther | QFileDevice::WriteGroup | QFileDevice::WriteOther);
    const bool hasPassword = std::any_of(entries.cbegin(), entries.cend(),
                                         [](const Entry &entry) { return !entry.login.password.isEmpty(); });
    return isOpen && hasPassword;
}
