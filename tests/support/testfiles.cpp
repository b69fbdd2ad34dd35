// SPDX-License-Identifier: MIT
#include <tests/support/testfiles.h>

#include <QCryptographicHash>
#include <QFile>

#include <algorithm>
#include <cstring>

namespace
{
constexpr qint64 kWordSize = sizeof(quint64);
constexpr qint64 kPieceSize = 4194304;

// A counter put through a mixer: each word is independent of the one before it.
inline quint64 wordAt(quint64 seed, quint64 index)
{
    quint64 z = (seed + 1) * 0x9e3779b97f4a7c15ULL + index * 0xd1342543de82ef95ULL;
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
    return z ^ (z >> 31);
}

template<typename Take>
bool forEachPiece(quint64 seed, qint64 size, Take take)
{
    for (qint64 offset = 0; offset < size; offset += kPieceSize) {
        if (!take(TestFiles::content(seed, offset, std::min(kPieceSize, size - offset)))) {
            return false;
        }
    }
    return true;
}
}

namespace TestFiles
{
QByteArray content(quint64 seed, qint64 offset, qint64 length)
{
    const qint64 firstWord = offset / kWordSize;
    const qint64 skipped = offset % kWordSize;
    const qint64 words = (skipped + length + kWordSize - 1) / kWordSize;
    QByteArray data(words * kWordSize, Qt::Uninitialized);
    char *to = data.data();
    for (qint64 i = 0; i < words; ++i, to += kWordSize) {
        const quint64 word = wordAt(seed, static_cast<quint64>(firstWord + i));
        std::memcpy(to, &word, sizeof word);
    }
    return skipped == 0 && data.size() == length ? data : data.mid(skipped, length);
}

bool writeFile(const QString &path, quint64 seed, qint64 size)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        return false;
    }
    return forEachPiece(seed, size, [&file](const QByteArray &piece) { return file.write(piece) == piece.size(); })
        && file.flush();
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray sha256(const QByteArray &data)
{
    return QCryptographicHash::hash(data, QCryptographicHash::Sha256).toHex();
}

QByteArray sha256OfFile(const QString &path)
{
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (!file.open(QIODevice::ReadOnly) || !hash.addData(&file)) {
        return {};
    }
    return hash.result().toHex();
}

QByteArray sha256OfContent(quint64 seed, qint64 size)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    forEachPiece(seed, size, [&hash](const QByteArray &piece) {
        hash.addData(piece);
        return true;
    });
    return hash.result().toHex();
}
}
