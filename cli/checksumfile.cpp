// SPDX-License-Identifier: MIT
#include <cli/checksumfile.h>

#include <host/options/optionrows.h>

#include <QFile>

using namespace Qt::StringLiterals;

std::optional<ChecksumFile> ChecksumFile::read(const QString &path, QString *problem)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *problem = u"cannot read the checksums in \"%1\": %2. Give the path or the address of a list of them."_s.arg(
            path, file.errorString());
        return std::nullopt;
    }
    const QByteArray text = file.read(ChecksumList::kMostBytes + 1);
    ChecksumFile list;
    list.m_path = path;
    list.m_entries = ChecksumList::parse(text);
    const bool isTooLarge = text.size() > ChecksumList::kMostBytes;
    if (list.m_entries.isEmpty())
        *problem = u"\"%1\" is no list of checksums. Give one as sha256sum writes it."_s.arg(path);
    else if (isTooLarge)
        *problem = u"\"%1\" is larger than 4 MiB, and plait reads no larger list of checksums. Give the lines of these "
                   u"files alone."_s.arg(path);
    return list.m_entries.isEmpty() || isTooLarge ? std::nullopt : std::optional(list);
}

QString ChecksumFile::giveTo(DownloadRequest &request) const
{
    QStringList names{request.outputName, request.url.fileName(QUrl::FullyDecoded)};
    names.removeAll(QString());
    if (const auto checksum = ChecksumList::find(m_entries, names, request.url.path())) {
        give(request, *checksum);
        return {};
    }
    if (request.isStreamed)
        return u"\"%1\" has no checksum of \"%2\" that is the only one. Name the file as the list does with -o, or "
               u"give "
               u"the sum with --checksum."_s.arg(m_path, names.value(0));
    request.options.checksumSource = QUrl::fromLocalFile(m_path).toString(QUrl::FullyEncoded);
    return {};
}

void ChecksumFile::give(DownloadRequest &request, const Checksum &checksum) const
{
    const QJsonObject given{{u"checksum"_s, checksum.toText()}};
    request.options.give(OptionValues::fromJson(given));
    request.options.checksumSource.clear();
    const OptionRow *const row = request.changes.values.table().find(u"checksum"_s);
    request.changes.values.give(*row, {checksum.toText(), m_path});
}
