// SPDX-License-Identifier: MIT
#include <host/parsing/checksum.h>

#include <QStringList>

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

namespace
{

struct Name {
    QStringView text;
    QCryptographicHash::Algorithm algorithm;
};

constexpr Name kNames[] = {
    {u"md5", QCryptographicHash::Md5},           {u"sha-1", QCryptographicHash::Sha1},
    {u"sha-224", QCryptographicHash::Sha224},    {u"sha-256", QCryptographicHash::Sha256},
    {u"sha-384", QCryptographicHash::Sha384},    {u"sha-512", QCryptographicHash::Sha512},
    {u"sha3-256", QCryptographicHash::Sha3_256}, {u"sha3-512", QCryptographicHash::Sha3_512},
};

/// "SHA256" and "sha_256" are as good as "sha-256".
QString plain(QStringView name)
{
    QString result = name.toString().toLower();
    result.remove(u'-').remove(u'_');
    return result;
}

const Name *find(const QString &text)
{
    const auto it = std::find_if(std::begin(kNames), std::end(kNames),
                                 [&](const Name &name) { return plain(name.text) == plain(text); });
    return it == std::end(kNames) ? nullptr : it;
}

QString allNames()
{
    QStringList names;
    for (const Name &name : kNames)
        names.append(name.text.toString());
    return names.join(u", "_s);
}

bool isHex(const QString &text)
{
    return std::all_of(text.cbegin(), text.cend(), [](QChar c) {
        return (c >= u'0' && c <= u'9') || (c.toLower() >= u'a' && c.toLower() <= u'f');
    });
}

/// The name of what people paste without one: of those with as many digits, the one that is usual.
QString nameOfDigits(const QString &hex)
{
    const auto it = std::find_if(std::begin(kNames), std::end(kNames), [&hex](const Name &name) {
        return hex.size() == QCryptographicHash::hashLength(name.algorithm) * 2;
    });
    return it == std::end(kNames) || !isHex(hex) ? QString() : it->text.toString();
}

/// As a checksum is pasted, so it may stand: "sha256:HEX", and HEX alone where its length tells what it is.
QString withName(const QString &text)
{
    const QString bareName = nameOfDigits(text);
    if (!bareName.isEmpty())
        return bareName + u'=' + text;
    const qsizetype colon = text.contains(u'=') ? -1 : text.indexOf(u':');
    return colon < 0 ? text : QString(text).replace(colon, 1, u'=');
}

}

std::optional<Checksum> Checksum::parse(const QString &typed, Clause *problem)
{
    const QString text = withName(typed.trimmed());
    const qsizetype equals = text.indexOf(u'=');
    const Name *const name = equals > 0 ? find(text.left(equals)) : nullptr;
    if (!name) {
        *problem = {Clause::Kind::NoChecksum, {typed, allNames()}};
        return std::nullopt;
    }
    const QString hex = text.sliced(equals + 1).trimmed();
    const int digits = QCryptographicHash::hashLength(name->algorithm) * 2;
    if (hex.size() != digits || !isHex(hex)) {
        *problem = {Clause::Kind::ChecksumOfOtherLength, {typed, name->text.toString(), QString::number(digits)}};
        return std::nullopt;
    }
    return Checksum{name->algorithm, QByteArray::fromHex(hex.toLatin1())};
}

QString Checksum::toText() const
{
    return algorithmName() + u'=' + QString::fromLatin1(expected.toHex());
}

QString Checksum::algorithmName() const
{
    const auto it = std::find_if(std::begin(kNames), std::end(kNames),
                                 [this](const Name &name) { return name.algorithm == algorithm; });
    return it == std::end(kNames) ? QString() : it->text.toString();
}
