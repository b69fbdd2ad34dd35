// SPDX-License-Identifier: MIT
#include <host/policy/failure.h>

#include <QJsonArray>

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

namespace
{

using Kind = Failure::Kind;
using Remedy = Failure::Remedy;

struct KindRow {
    Kind kind;
    QLatin1StringView key;
    QList<Remedy> remedies = {};
};

const QList<KindRow> &kindRows()
{
    static const QList<KindRow> rows{
        {Kind::None, "none"_L1},
        {Kind::Unknown, "unknown"_L1, {Remedy::TryAgain, Remedy::ReadLog}},
        {Kind::TimedOut, "timed-out"_L1, {Remedy::Resume}},
        {Kind::NothingCame, "nothing-came"_L1, {Remedy::Resume}},
        {Kind::NotFound, "not-found"_L1, {Remedy::CheckAddress}},
        {Kind::NetworkFailed, "network-failed"_L1, {Remedy::CheckNetwork, Remedy::Resume}},
        {Kind::HostNotFound, "host-not-found"_L1, {Remedy::CheckAddress, Remedy::CheckNetwork}},
        {Kind::BadAnswer, "bad-answer"_L1, {Remedy::TryLater, Remedy::OtherServer, Remedy::CheckAddress}},
        {Kind::TooManyRedirects, "too-many-redirects"_L1, {Remedy::OpenInBrowser}},
        {Kind::ServerOverloaded, "server-overloaded"_L1, {Remedy::TryLater}},
        {Kind::LoginRequired, "login-required"_L1, {Remedy::GiveLogin}},
        {Kind::LoginRefused, "login-refused"_L1, {Remedy::GiveLogin}},
        {Kind::ProxyLoginRequired, "proxy-login-required"_L1, {Remedy::GiveProxyLogin}},
        {Kind::ProxyLoginRefused, "proxy-login-refused"_L1, {Remedy::GiveProxyLogin}},
        {Kind::ProxyFailed, "proxy-failed"_L1, {Remedy::CheckProxy, Remedy::TryLater}},
        {Kind::ProxyNotFound, "proxy-not-found"_L1, {Remedy::CheckProxy}},
        {Kind::CertificateRefused, "certificate-refused"_L1, {Remedy::NameAuthority, Remedy::AllowInsecure}},
        {Kind::ProxyCertificateRefused, "proxy-certificate-refused"_L1, {Remedy::NameAuthority}},
        {Kind::EncryptionFailed, "encryption-failed"_L1},
        {Kind::UnsupportedUrl, "unsupported-url"_L1, {Remedy::CheckAddress}},
        {Kind::CannotResume, "cannot-resume"_L1, {Remedy::Restart}},
        {Kind::ResourceChanged, "resource-changed"_L1, {Remedy::Restart}},
        {Kind::CannotTakeOver, "cannot-take-over"_L1, {Remedy::OtherName}},
        {Kind::ChecksumDiffers, "checksum-differs"_L1, {Remedy::Restart}},
        {Kind::DigestDiffers, "digest-differs"_L1, {Remedy::Restart}},
        {Kind::ChecksumNotFound, "checksum-not-found"_L1, {Remedy::Resume}},
        {Kind::ChecksumUnusable, "checksum-unusable"_L1},
        {Kind::DiskFull, "disk-full"_L1, {Remedy::MakeRoom, Remedy::Resume, Remedy::OtherFolder}},
        {Kind::NoRoom, "no-room"_L1, {Remedy::MakeRoom, Remedy::OtherFolder}},
        {Kind::NameTaken, "name-taken"_L1, {Remedy::OtherName}},
        {Kind::CannotCreateFile, "cannot-create-file"_L1, {Remedy::OtherFolder}},
        {Kind::FileFailed, "file-failed"_L1, {Remedy::CheckDisk, Remedy::Resume}},
        {Kind::CannotReadFile, "cannot-read-file"_L1, {Remedy::CheckDisk}},
        {Kind::FileShorter, "file-shorter"_L1},
        {Kind::FileMissing, "file-missing"_L1},
        {Kind::NotOnDisk, "not-on-disk"_L1, {Remedy::CheckDisk}},
        {Kind::Skipped, "skipped"_L1},
        {Kind::Stopped, "stopped"_L1, {Remedy::Resume}},
        {Kind::StoppedBeforeComparing, "stopped-before-comparing"_L1, {Remedy::Resume}},
        {Kind::NoSuchDownload, "no-such-download"_L1, {Remedy::SeeList}},
        {Kind::WrongState, "wrong-state"_L1},
        {Kind::CannotBegin, "cannot-begin"_L1, {Remedy::TryLater}},
        {Kind::OwnedByOther, "owned-by-other"_L1, {Remedy::TryLater}},
        {Kind::CannotChange, "cannot-change"_L1},
        {Kind::CannotDeleteFile, "cannot-delete-file"_L1},
        {Kind::CannotFinish, "cannot-finish"_L1},
        {Kind::SameResource, "same-resource"_L1},
        {Kind::TakenOver, "taken-over"_L1},
        {Kind::FoundWhole, "found-whole"_L1},
        {Kind::ChecksumFound, "checksum-found"_L1},
        {Kind::NoChecksumFound, "no-checksum-found"_L1},
        {Kind::NothingToCompare, "nothing-to-compare"_L1},
        {Kind::CannotOpenList, "cannot-open-list"_L1},
        {Kind::CannotReadList, "cannot-read-list"_L1},
        {Kind::CannotChangeList, "cannot-change-list"_L1},
        {Kind::CannotRepairList, "cannot-repair-list"_L1},
        {Kind::ListDamaged, "list-damaged"_L1, {Remedy::RepairList}},
        {Kind::ListInMemory, "list-in-memory"_L1, {Remedy::OtherList}},
        {Kind::NoModule, "no-module"_L1},
        {Kind::ModuleUnusable, "module-unusable"_L1, {Remedy::Reinstall}},
        {Kind::ProxyUnusable, "proxy-unusable"_L1},
        {Kind::CertificatesUnusable, "certificates-unusable"_L1},
        {Kind::ClientCertificateUnusable, "client-certificate-unusable"_L1},
        {Kind::ValueUnusable, "value-unusable"_L1},
        {Kind::InterfaceUnusable, "interface-unusable"_L1},
        {Kind::CookiesUnusable, "cookies-unusable"_L1},
        {Kind::LoginsUnusable, "logins-unusable"_L1},
        {Kind::LoginsExposed, "logins-exposed"_L1},
    };
    return rows;
}

constexpr std::pair<Remedy, QLatin1StringView> kRemedies[] = {
    {Remedy::AsDetailSays, "as-detail-says"_L1},
    {Remedy::TryAgain, "try-again"_L1},
    {Remedy::TryLater, "try-later"_L1},
    {Remedy::Resume, "resume"_L1},
    {Remedy::Restart, "restart"_L1},
    {Remedy::CheckAddress, "check-address"_L1},
    {Remedy::OtherScheme, "other-scheme"_L1},
    {Remedy::OpenInBrowser, "open-in-browser"_L1},
    {Remedy::OtherServer, "other-server"_L1},
    {Remedy::CheckNetwork, "check-network"_L1},
    {Remedy::CheckProxy, "check-proxy"_L1},
    {Remedy::CheckClock, "check-clock"_L1},
    {Remedy::GiveLogin, "give-login"_L1},
    {Remedy::GiveProxyLogin, "give-proxy-login"_L1},
    {Remedy::GiveHeader, "give-header"_L1},
    {Remedy::NameAuthority, "name-authority"_L1},
    {Remedy::AllowInsecure, "allow-insecure"_L1},
    {Remedy::MakeRoom, "make-room"_L1},
    {Remedy::OtherFolder, "other-folder"_L1},
    {Remedy::OtherName, "other-name"_L1},
    {Remedy::CheckDisk, "check-disk"_L1},
    {Remedy::StopFirst, "stop-first"_L1},
    {Remedy::Remove, "remove"_L1},
    {Remedy::OneConnection, "one-connection"_L1},
    {Remedy::SeeList, "see-list"_L1},
    {Remedy::RepairList, "repair-list"_L1},
    {Remedy::OtherList, "other-list"_L1},
    {Remedy::MoveAway, "move-away"_L1},
    {Remedy::NewerProgram, "newer-program"_L1},
    {Remedy::Reinstall, "reinstall"_L1},
    {Remedy::ReadLog, "read-log"_L1},
};

const KindRow *rowOf(Kind kind)
{
    const QList<KindRow> &rows = kindRows();
    const auto found =
        std::find_if(rows.cbegin(), rows.cend(), [kind](const KindRow &row) { return row.kind == kind; });
    return found == rows.cend() ? nullptr : &*found;
}

Kind kindFrom(const QString &key)
{
    const QList<KindRow> &rows = kindRows();
    const auto found = std::find_if(rows.cbegin(), rows.cend(), [&key](const KindRow &row) { return row.key == key; });
    return found == rows.cend() ? Kind::Unknown : found->kind;
}

QJsonArray toJson(const QList<Remedy> &remedies)
{
    QJsonArray keys;
    for (const Remedy remedy : remedies) {
        for (const auto &[known, key] : kRemedies) {
            if (known == remedy)
                keys.append(key);
        }
    }
    return keys;
}

QList<Remedy> remediesFrom(const QJsonArray &keys)
{
    QList<Remedy> remedies;
    for (const QJsonValue &value : keys) {
        for (const auto &[remedy, key] : kRemedies) {
            if (value.toString() == key)
                remedies.append(remedy);
        }
    }
    return remedies;
}

void put(QJsonObject &object, QLatin1StringView key, const QString &text)
{
    if (!text.isEmpty())
        object.insert(key, text);
}

QJsonObject toJson(const Failure::Subject &subject)
{
    QJsonObject object;
    if (subject.id != 0)
        object.insert("id"_L1, subject.id);
    put(object, "url"_L1, subject.url.toString(QUrl::FullyEncoded));
    put(object, "title"_L1, subject.title);
    put(object, "path"_L1, subject.path);
    put(object, "folder"_L1, subject.folder);
    put(object, "host"_L1, subject.host);
    put(object, "keptAs"_L1, subject.keptAs);
    return object;
}

Failure::Subject subjectFrom(const QJsonObject &object)
{
    return {object.value("id"_L1).toInteger(),    QUrl(object.value("url"_L1).toString()),
            object.value("title"_L1).toString(),  object.value("path"_L1).toString(),
            object.value("folder"_L1).toString(), object.value("host"_L1).toString(),
            object.value("keptAs"_L1).toString()};
}

QJsonArray toJson(const QList<Failure::Address> &addresses)
{
    QJsonArray array;
    for (const Failure::Address &address : addresses)
        array.append(
            QJsonObject{{u"url"_s, address.url.toString(QUrl::FullyEncoded)}, {u"reason"_s, address.reason.toJson()}});
    return array;
}

QList<Failure::Address> addressesFrom(const QJsonArray &array)
{
    QList<Failure::Address> addresses;
    for (const QJsonValue &value : array)
        addresses.append(
            {QUrl(value.toObject().value("url"_L1).toString()), Clause::fromJson(value.toObject().value("reason"_L1))});
    return addresses;
}

Failure::Room roomFrom(const QJsonObject &object)
{
    return {object.value("needed"_L1).toInteger(-1), object.value("available"_L1).toInteger(-1)};
}

}

Failure Failure::make(Kind kind, const Subject &subject, const Clause &cause, int number)
{
    const KindRow *const row = rowOf(kind);
    Failure failure{kind, subject, {}, number, row ? row->remedies : QList<Remedy>()};
    if (cause.kind == Clause::Kind::Told)
        failure.detail = cause.values.value(0);
    else
        failure.cause = cause;
    return failure;
}

Failure Failure::told(Kind kind, const Subject &subject, const QString &sentences)
{
    return {kind, subject, sentences, 0, {Remedy::AsDetailSays}};
}

QString Failure::keyOf(Kind kind)
{
    const KindRow *const row = rowOf(kind);
    return row ? QString(row->key) : QString();
}

QString Failure::plain() const
{
    return cause.isEmpty() ? detail : cause.plain();
}

QJsonObject Failure::toJson() const
{
    QJsonObject object{{u"kind"_s, keyOf(kind)}};
    if (subject != Subject())
        object.insert("subject"_L1, ::toJson(subject));
    put(object, "detail"_L1, detail);
    if (number != 0)
        object.insert("number"_L1, number);
    if (!remedies.isEmpty())
        object.insert("remedies"_L1, ::toJson(remedies));
    if (!addresses.isEmpty())
        object.insert("addresses"_L1, ::toJson(addresses));
    if (room != Room())
        object.insert("room"_L1, QJsonObject{{u"needed"_s, room.needed}, {u"available"_s, room.available}});
    if (!cause.isEmpty())
        object.insert("cause"_L1, cause.toJson());
    if (secondsLeft != 0)
        object.insert("secondsLeft"_L1, secondsLeft);
    return object;
}

Failure Failure::fromJson(const QJsonObject &object)
{
    return {kindFrom(object.value("kind"_L1).toString()),
            subjectFrom(object.value("subject"_L1).toObject()),
            object.value("detail"_L1).toString(),
            object.value("number"_L1).toInt(),
            remediesFrom(object.value("remedies"_L1).toArray()),
            addressesFrom(object.value("addresses"_L1).toArray()),
            roomFrom(object.value("room"_L1).toObject()),
            Clause::fromJson(object.value("cause"_L1)),
            object.value("secondsLeft"_L1).toInt()};
}
