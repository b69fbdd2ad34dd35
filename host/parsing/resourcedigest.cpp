// SPDX-License-Identifier: MIT
#include <host/parsing/resourcedigest.h>

#include <algorithm>

namespace
{

struct Name {
    QByteArrayView text;
    QCryptographicHash::Algorithm algorithm;
};

/// The strongest first.
constexpr Name kNames[] = {
    {"sha-512", QCryptographicHash::Sha512},
    {"sha-256", QCryptographicHash::Sha256},
    {"md5", QCryptographicHash::Md5},
};

/// Empty = it is no such digest.
QByteArray bytesOf(QByteArray text, QCryptographicHash::Algorithm algorithm)
{
    // Repr-Digest has it between colons. Either field may have parameters behind it.
    if (text.startsWith(':')) {
        const qsizetype end = text.indexOf(':', 1);
        if (end < 0)
            return {};
        text = text.sliced(1, end - 1);
    } else {
        text = text.split(';').constFirst().trimmed();
    }
    const auto decoded = QByteArray::fromBase64Encoding(text, QByteArray::AbortOnBase64DecodingErrors);
    const bool isOne = bool(decoded) && decoded.decoded.size() == QCryptographicHash::hashLength(algorithm);
    return isOne ? decoded.decoded : QByteArray();
}

/// The first that is one.
std::optional<Checksum> digestIn(const QList<QByteArray> &members, const Name &name)
{
    for (const QByteArray &member : members) {
        const qsizetype equals = member.indexOf('=');
        if (equals < 0 || member.first(equals).trimmed().compare(name.text, Qt::CaseInsensitive) != 0)
            continue;
        const QByteArray bytes = bytesOf(member.sliced(equals + 1).trimmed(), name.algorithm);
        if (!bytes.isEmpty())
            return Checksum{name.algorithm, bytes};
    }
    return std::nullopt;
}

}

QList<Checksum> ResourceDigest::all(const QByteArray &field)
{
    const QList<QByteArray> members = field.split(',');
    QList<Checksum> digests;
    for (const Name &name : kNames) {
        if (const std::optional<Checksum> digest = digestIn(members, name))
            digests.append(*digest);
    }
    return digests;
}

std::optional<Checksum> ResourceDigest::parse(const QByteArray &field)
{
    const QList<Checksum> digests = all(field);
    return digests.isEmpty() ? std::nullopt : std::optional(digests.constFirst());
}

bool ResourceDigest::areOfDifferentFiles(const QByteArray &one, const QByteArray &other)
{
    const QList<Checksum> others = all(other);
    for (const Checksum &digest : all(one)) {
        const auto differs = [&digest](const Checksum &candidate) {
            return candidate.algorithm == digest.algorithm && candidate.expected != digest.expected;
        };
        if (std::any_of(others.cbegin(), others.cend(), differs))
            return true;
    }
    return false;
}
