// SPDX-License-Identifier: MIT
#include <cli/importedcommand.h>

#include <cli/habitreader.h>
#include <cli/shellwords.h>

#include <QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

const QString kHeader = u"--header="_s;
const QString kCookie = u"cookie"_s;

/// Headers of a browser's request that are not for the file as a whole, and why.
struct Unfit {
    QLatin1StringView name;
    const char *why;
};

constexpr Unfit kUnfit[] = {
    {"accept-encoding"_L1, "a file is asked for as it is, so that it can be gone on with"},
    {"range"_L1, "files are fetched whole"},
    {"if-range"_L1, "files are fetched whole"},
    {"if-none-match"_L1, "the server would send nothing if the browser has it"},
    {"if-modified-since"_L1, "the server would send nothing if the browser has it"},
    {"content-length"_L1, "it follows from what is sent"},
    {"transfer-encoding"_L1, "it follows from what is sent"},
    {"connection"_L1, "connections are kept and looked after"},
};

QString firstWord(const QString &word)
{
    static const QRegularExpression blank(u"\\s"_s);
    return word.trimmed().section(blank, 0, 0);
}

/// Signs of a prompt, and who is to run it.
bool isBeforeTheProgram(const QString &word)
{
    return word == "$"_L1 || word == "#"_L1 || word == "%"_L1 || word == ">"_L1 || word == "sudo"_L1;
}

ShellWords::Split wordsOf(const QStringList &line)
{
    if (line.size() != 1)
        return {line, {}, {}, {}};
    return ShellWords::split(line.constFirst());
}

/// Goes through the headers of a line: what does not fit is left out, what one stands for several times is joined.
class Headers
{
public:
    explicit Headers(ImportedCommand::Read &read)
        : m_read(read)
    {
    }

    void sort()
    {
        QStringList kept;
        for (const QString &option : std::as_const(m_read.options)) {
            if (!option.startsWith(kHeader))
                kept.append(option);
            else if (const QString header = fitting(option.sliced(kHeader.size())); !header.isEmpty())
                kept.append(kHeader + header);
        }
        if (!m_cookies.isEmpty())
            kept.append(kHeader + "Cookie: "_L1 + m_cookies.join("; "_L1));
        m_read.options = kept;
    }

private:
    /// Empty = it is not one to send.
    QString fitting(const QString &header)
    {
        const QString name = header.section(u':', 0, 0).trimmed();
        const auto unfit = std::find_if(std::begin(kUnfit), std::end(kUnfit),
                                        [&name](const Unfit &one) { return name.toLower() == one.name; });
        if (unfit != std::end(kUnfit))
            return leftOut(name, QString::fromLatin1(unfit->why));
        if (header.startsWith(u'@'))
            return leftOut(header, u"headers are not read from files"_s);
        if (header.startsWith(u':'))
            return {}; // a browser's own note of the request line
        if (!header.contains(u':') && header.endsWith(u';'))
            return header.chopped(1) + u':';
        if (header.section(u':', 1).trimmed().isEmpty())
            return leftOut(name, u"what plait sends by itself is little, and stays"_s);
        if (name.toLower() != kCookie)
            return header;
        m_cookies.append(header.section(u':', 1).trimmed());
        return {};
    }

    QString leftOut(const QString &name, const QString &why)
    {
        m_read.notes.append(u"the header \"%1\" is left out: %2."_s.arg(name, why));
        return {};
    }

    ImportedCommand::Read &m_read;
    QStringList m_cookies;
};

/// Several addresses are one file to aria2.
void makeMirrors(ImportedCommand::Read &read)
{
    while (read.addresses.size() > 1)
        read.options.append(u"--mirror="_s + read.addresses.takeLast());
}

/// curl makes many addresses of one with brackets.
void noteBrackets(ImportedCommand::Read &read)
{
    static const QRegularExpression brackets(u"\\[[0-9a-zA-Z]+-[0-9a-zA-Z]+(?::\\d+)?\\]|\\{[^{}]*,[^{}]*\\}"_s);
    for (const QString &address : std::as_const(read.addresses)) {
        const QRegularExpressionMatch match = brackets.match(address);
        if (match.hasMatch())
            read.notes.append(
                u"\"%1\" is taken as it stands: curl would make several addresses of it."_s.arg(match.captured()));
    }
}

/// Whoever copies a line may not have read it.
void keepChecking(ImportedCommand::Read &read)
{
    if (read.options.removeAll(u"--insecure"_s) > 0)
        read.notes.append(u"that no certificate is checked is left out: write \"plait import --insecure -- …\" if you "
                          "mean it."_s);
}

void noteRest(const QString &rest, ImportedCommand::Read &read)
{
    if (!rest.isEmpty())
        read.notes.append(u"what follows the command is left out, from \"%1\" on."_s.arg(rest.left(1)));
}

ImportedCommand::Read readWords(const ShellWords::Split &split, const Habits::Tool &tool, const QStringList &words)
{
    const HabitReader::Read line = HabitReader::imported(words, tool);
    ImportedCommand::Read read{line.options, line.addresses, line.notes, line.complaint};
    if (!split.output.isEmpty())
        read.options.append(u"--output="_s + split.output);
    keepChecking(read);
    Headers(read).sort();
    if (&tool == &Habits::aria2() && !words.contains(u"-Z"_s))
        makeMirrors(read);
    if (&tool == &Habits::curl())
        noteBrackets(read);
    noteRest(split.rest, read);
    return read;
}

}

ImportedCommand::Parts ImportedCommand::partsOf(const QStringList &words)
{
    const qsizetype dashes = words.indexOf(u"--"_s);
    if (dashes >= 0)
        return {words.first(dashes), words.sliced(dashes + 1)};
    const auto program = std::find_if(words.cbegin(), words.cend(), [](const QString &word) {
        return Habits::find(firstWord(word)) || isBeforeTheProgram(firstWord(word));
    });
    return {QStringList(words.cbegin(), program), QStringList(program, words.cend())};
}

ImportedCommand::Read ImportedCommand::read(const QStringList &line)
{
    const ShellWords::Split split = wordsOf(line);
    QStringList words = split.words;
    while (!words.isEmpty() && isBeforeTheProgram(words.constFirst()))
        words.removeFirst();
    const Habits::Tool *const tool = Habits::find(words.value(0));
    Read none;
    none.complaint = !split.problem.isEmpty()
        ? split.problem
        : u"import takes a line for curl, wget or aria2, as in \"plait import -- curl -o FILE URL\"."_s;
    return tool && split.problem.isEmpty() ? readWords(split, *tool, words.sliced(1)) : none;
}
