// SPDX-License-Identifier: MIT
#include <tests/honesty/fileversion.h>

#include <tests/support/testfiles.h>

#include <QCryptographicHash>
#include <QtEndian>

namespace
{
constexpr quint64 kFirstSeed = 700;
constexpr qint64 kWord = 16;
constexpr quint32 kPolynomial = 0xedb88320;
constexpr qsizetype kZlibLength = 4; // what Qt puts before
constexpr qsizetype kZlibHead = 2;
constexpr qsizetype kZlibTail = 4;

quint32 checksumOf(const QByteArray &bytes)
{
    quint32 sum = ~quint32(0);
    for (const char byte : bytes) {
        sum ^= static_cast<quint8>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            sum = (sum >> 1) ^ ((sum & 1) != 0 ? kPolynomial : 0);
        }
    }
    return ~sum;
}

void appendNumber(QByteArray &to, quint32 number)
{
    const quint32 little = qToLittleEndian(number);
    to.append(reinterpret_cast<const char *>(&little), sizeof little);
}

QByteArray spelled(const QByteArray &name, FileVersion::Spelling spelling)
{
    switch (spelling) {
    case FileVersion::Spelling::SmallLetters:
        return name.toLower();
    case FileVersion::Spelling::Capitals:
        return name.toUpper();
    case FileVersion::Spelling::Usual:
        break;
    }
    return name;
}

QByteArray gzipOf(const QByteArray &bytes)
{
    const QByteArray packed = qCompress(bytes, 1);
    QByteArray zipped = QByteArray::fromHex("1f8b08000000000000ff");
    zipped += packed.mid(kZlibLength + kZlibHead).chopped(kZlibTail);
    appendNumber(zipped, checksumOf(bytes));
    appendNumber(zipped, static_cast<quint32>(bytes.size()));
    return zipped;
}
}

FileVersion FileVersion::number(int number)
{
    const quint64 seed = kFirstSeed + quint64(number);
    FileVersion version;
    version.bytes = [seed](qint64 offset, qint64 length) { return TestFiles::content(seed, offset, length); };
    version.etag = "\"version-" + QByteArray::number(number) + '"';
    const int minutes = number % 60;
    version.date = "Wed, 01 Jan 2020 12:" + QByteArray::number(minutes).rightJustified(2, '0') + ":00 GMT";
    return version;
}

FileVersion FileVersion::withETag(const QByteArray &value) const
{
    FileVersion version = *this;
    version.etag = value;
    return version;
}

FileVersion FileVersion::withDate(const QByteArray &value) const
{
    FileVersion version = *this;
    version.date = value;
    return version;
}

FileVersion FileVersion::withSize(qint64 value) const
{
    FileVersion version = *this;
    version.size = value;
    return version;
}

FileVersion FileVersion::withField(const QByteArray &name, const QByteArray &value) const
{
    FileVersion version = *this;
    version.otherFields.append({name, value});
    return version;
}

FileVersion FileVersion::inSpelling(Spelling value) const
{
    FileVersion version = *this;
    version.spelling = value;
    return version;
}

FileVersion FileVersion::unmarked() const
{
    return withETag({}).withDate({});
}

FileVersion FileVersion::zipped() const
{
    const QByteArray packed = gzipOf(bytes(0, size));
    FileVersion version = *this;
    version.bytes = [packed](qint64 offset, qint64 length) { return packed.mid(offset, length); };
    version.size = packed.size();
    return version;
}

QList<ScriptedResponse::Header> FileVersion::validators() const
{
    QList<ScriptedResponse::Header> headers{{"Content-Type", "application/octet-stream"}};
    if (!etag.isEmpty()) {
        headers.append({"ETag", etag});
    }
    if (!date.isEmpty()) {
        headers.append({"Last-Modified", date});
    }
    headers += otherFields;
    for (ScriptedResponse::Header &header : headers) {
        header.first = spelled(header.first, spelling);
    }
    return headers;
}

ScriptedResponse FileVersion::sound() const
{
    ScriptedResponse response = whole();
    response.honoursRanges = true;
    return response;
}

ScriptedResponse FileVersion::whole() const
{
    ScriptedResponse response;
    response.headers = validators();
    response.bodyMaker = bytes;
    response.bodySize = size;
    return response;
}

ScriptedResponse FileVersion::piece(qint64 first, qint64 last) const
{
    return pieceCalled(contentRange(first, last, size), first, last);
}

ScriptedResponse FileVersion::pieceCalled(const QByteArray &contentRange, qint64 first, qint64 last) const
{
    ScriptedResponse response;
    response.status = 206;
    response.headers = validators();
    if (!contentRange.isEmpty()) {
        response.withHeader("Content-Range", contentRange);
    }
    response.bodyMaker = [from = first, all = bytes](qint64 offset, qint64 length) {
        return all(from + offset, length);
    };
    response.bodySize = last - first + 1;
    return response;
}

ScriptedResponse FileVersion::nothingBeyond(qint64 size)
{
    ScriptedResponse response = ScriptedResponse::error(416);
    response.withHeader("Content-Range", "bytes */" + QByteArray::number(size));
    return response;
}

QByteArray FileVersion::contentRange(qint64 first, qint64 last, qint64 size)
{
    return "bytes " + QByteArray::number(first) + '-' + QByteArray::number(last) + '/' + QByteArray::number(size);
}

QByteArray FileVersion::sha256() const
{
    return QCryptographicHash::hash(bytes(0, size), QCryptographicHash::Sha256).toBase64();
}

bool FileVersion::isWholly(const QByteArray &content) const
{
    // Most are told apart by their beginning.
    return content.size() == size && content.startsWith(bytes(0, kWord)) && content == bytes(0, size);
}
