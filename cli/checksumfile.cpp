// SPDX-License-Identifier: MIT
#include <cli/checksumfile.h>

#include <host/options/optionrows.h>
#include <host/parsing/checksumlist.h>

#include <QFile>

using namespace Qt::StringLiterals;

QString ChecksumFile::giveTo(DownloadRequest &request, const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return u"cannot read the checksums in \"%1\": %2. Give the path or the address of a list of them."_s.arg(
            path, file.errorString());
    const QByteArray text = file.read(ChecksumList::kMostBytes);
    const QList<ChecksumList::Entry> entries = ChecksumList::parse(text);
    if (entries.isEmpty())
        return u"\"%1\" is no list of checksums. Give one as sha256sum writes it."_s.arg(path);
    QStringList names{request.outputName, request.url.fileName(QUrl::FullyDecoded)};
    names.removeAll(QString());
    const auto checksum = ChecksumList::find(entries, names, request.url.path());
    if (!checksum)
        return u"\"%1\" has no checksum of \"%2\" that is the only one. Name the file as the list does with -o, or "
               u"give "
               u"the sum with --checksum."_s.arg(path, names.value(0));
    const QJsonObject given{{u"checksum"_s, checksum->toText()}};
    request.options.give(OptionValues::fromJson(given));
    request.options.checksumSource.clear();
    const OptionRow *const row = request.changes.values.table().find(u"checksum"_s);
    request.changes.values.give(*row, {checksum->toText(), path});
    return {};
}
