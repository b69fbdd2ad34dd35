// SPDX-License-Identifier: MIT
#include <host/parsing/checksumlist.h>

#include <QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

using Entry = ChecksumList::Entry;

/// By the length of their digits.
QString algorithmOf(qsizetype digits)
{
    switch (digits) {
    case 32:
        return u"md5"_s;
    case 40:
        return u"sha-1"_s;
    case 56:
        return u"sha-224"_s;
    case 64:
        return u"sha-256"_s;
    case 96:
        return u"sha-384"_s;
    case 128:
        return u"sha-512"_s;
    default:
        return {};
    }
}

/// A name with a line break or a backslash in it is written so behind a line that begins with one.
QString unescaped(QString name)
{
    return name.replace("\\n"_L1, "\n"_L1).replace("\\\\"_L1, "\\"_L1);
}

std::optional<Entry> entryOf(const QString &algorithm, const QString &hex, const QString &name)
{
    Clause ignored;
    const auto checksum = Checksum::parse(algorithm + u'=' + hex, &ignored);
    return checksum ? std::optional<Entry>({name, *checksum}) : std::nullopt;
}

/// "0123…  name", "0123… *name", or the sum alone.
std::optional<Entry> plainEntry(const QString &line)
{
    static const QRegularExpression form(u"^(\\\\?)([0-9a-fA-F]{32,128})(?:[ \\t]+\\*?(.+?))?\\s*$"_s);
    const QRegularExpressionMatch match = form.match(line);
    if (!match.hasMatch())
        return std::nullopt;
    const QString name = match.captured(1).isEmpty() ? match.captured(3) : unescaped(match.captured(3));
    return entryOf(algorithmOf(match.capturedLength(2)), match.captured(2), name);
}

/// "SHA256 (name) = 0123…", and "SHA2-256(name)= 0123…".
std::optional<Entry> namedEntry(const QString &line)
{
    static const QRegularExpression form(u"^([A-Za-z0-9-]+) ?\\((.+)\\) ?= ?([0-9a-fA-F]+)\\s*$"_s);
    const QRegularExpressionMatch match = form.match(line);
    if (!match.hasMatch())
        return std::nullopt;
    QString algorithm = match.captured(1);
    if (algorithm.startsWith("SHA2-"_L1, Qt::CaseInsensitive))
        algorithm.remove(3, 2);
    return entryOf(algorithm, match.captured(3), match.captured(2));
}

/// So many folders, from the last on, are those of the path.
qsizetype commonFolders(const QString &name, const QString &path)
{
    const QStringList ours = name.split(u'/', Qt::SkipEmptyParts);
    const QStringList theirs = path.split(u'/', Qt::SkipEmptyParts);
    qsizetype common = 0;
    while (common < std::min(ours.size(), theirs.size())
           && ours.at(ours.size() - 1 - common) == theirs.at(theirs.size() - 1 - common))
        ++common;
    return common;
}

QList<Entry> bestOf(QList<Entry> entries, const QString &path)
{
    qsizetype most = 0;
    for (const Entry &entry : std::as_const(entries))
        most = std::max(most, commonFolders(entry.name, path));
    entries.removeIf([&](const Entry &entry) { return commonFolders(entry.name, path) < most; });
    qsizetype longest = 0;
    for (const Entry &entry : std::as_const(entries))
        longest = std::max(longest, entry.checksum.expected.size());
    entries.removeIf([&](const Entry &entry) { return entry.checksum.expected.size() < longest; });
    return entries;
}

std::optional<Checksum> onlyOne(const QList<Entry> &entries)
{
    const auto isSame = [&entries](const Entry &entry) { return entry.checksum == entries.first().checksum; };
    const bool isOne = !entries.isEmpty() && std::all_of(entries.cbegin(), entries.cend(), isSame);
    return isOne ? std::optional(entries.first().checksum) : std::nullopt;
}

QUrl withEnding(QUrl url, const QString &ending)
{
    url.setPath(url.path(QUrl::FullyEncoded) + ending, QUrl::StrictMode);
    return url;
}

}

QList<ChecksumList::Entry> ChecksumList::parse(const QByteArray &text)
{
    QList<Entry> entries;
    const QStringList lines = QString::fromUtf8(text).split(u'\n');
    for (const QString &line : lines) {
        std::optional<Entry> entry = plainEntry(line);
        if (!entry)
            entry = namedEntry(line);
        if (entry)
            entries.append(*entry);
    }
    return entries;
}

bool ChecksumList::isPage(const QByteArray &text)
{
    const QByteArray beginning = text.left(1024).trimmed().toLower();
    return beginning.startsWith("<!doctype html") || beginning.startsWith("<html") || beginning.contains("<head>");
}

std::optional<Checksum> ChecksumList::find(const QList<Entry> &entries, const QStringList &names, const QString &path)
{
    for (const QString &name : names) {
        QList<Entry> ofName = entries;
        ofName.removeIf([&name](const Entry &entry) { return entry.name.section(u'/', -1) != name; });
        if (!ofName.isEmpty())
            return onlyOne(bestOf(ofName, path));
    }
    const bool isAlone =
        std::all_of(entries.cbegin(), entries.cend(), [](const Entry &entry) { return entry.name.isEmpty(); });
    return isAlone ? onlyOne(entries) : std::nullopt;
}

QList<QUrl> ChecksumList::neighboursOf(const QUrl &asked)
{
    const QUrl url = asked.adjusted(QUrl::RemoveQuery | QUrl::RemoveFragment);
    QList<QUrl> all;
    if (url.fileName().isEmpty())
        return all;
    for (const QLatin1StringView ending : {".sha256"_L1, ".sha512"_L1, ".sha256sum"_L1, ".sha512sum"_L1})
        all.append(withEnding(url, ending));
    for (const QLatin1StringView name : {"SHA256SUMS"_L1, "SHA512SUMS"_L1, "SHA256SUMS.txt"_L1, "sha256sum.txt"_L1,
                                         "sha256sums.txt"_L1, "SHA512SUMS.txt"_L1, "CHECKSUM"_L1, "MD5SUMS"_L1})
        all.append(url.resolved(QUrl(name)));
    all.append(withEnding(url, u".md5"_s));
    return all;
}
