// SPDX-License-Identifier: MIT
#include <host/policy/resourcedigest.h>

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
    // Repr-Digest has it between colons, with parameters behind them.
    if (text.startsWith(':')) {
        const qsizetype end = text.indexOf(':', 1);
        if (end < 0)
            return {};
        text = text.sliced(1, end - 1);
    }
    const auto decoded = QByteArray::fromBase64Encoding(text, QByteArray::AbortOnBase64DecodingErrors);
    const bool isOne = bool(decoded) && decoded.decoded.size() == QCryptographicHash::hashLength(algorithm);
    return isOne ? decoded.decoded : QByteArray();
}

}

std::optional<Checksum> ResourceDigest::parse(const QByteArray &field)
{
    const QList<QByteArray> members = field.split(',');
    for (const Name &name : kNames) {
        for (const QByteArray &member : members) {
            const qsizetype equals = member.indexOf('=');
            if (equals < 0 || member.first(equals).trimmed().compare(name.text, Qt::CaseInsensitive) != 0)
                continue;
            const QByteArray bytes = bytesOf(member.sliced(equals + 1).trimmed(), name.algorithm);
            if (!bytes.isEmpty())
                return Checksum{name.algorithm, bytes};
        }
    }
    return std::nullopt;
}

std::optional<Checksum> ResourceDigest::of(const ResourceMemory &memory)
{
    std::optional<Checksum> found;
    for (const KnownAddress &known : memory.addresses) {
        const std::optional<Checksum> digest = parse(known.identity.digest);
        const bool isFirstParts = known.url == memory.evidence.address;
        if (digest && (!found || isFirstParts))
            found = digest;
    }
    return found;
}
