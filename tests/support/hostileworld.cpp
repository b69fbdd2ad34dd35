// SPDX-License-Identifier: MIT
#include <tests/support/hostileworld.h>

#include <QDateTime>
#include <QLocale>
#include <QRandomGenerator>
#include <QStringList>
#include <QTimeZone>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace
{
using Change = HostileResource::Change;
using Redirect = HostileResource::Redirect;
using Framing = HostileResource::Framing;

constexpr int kMostServers = 3;
constexpr int kMostResources = 4;
constexpr int kMostVersions = 4;
constexpr int kMostConnections = 8;
constexpr int kMostTries = 6;
constexpr int kMostHops = 11;
constexpr int kMostKindsOfFaults = 4;
/// From about 300 KiB on it is worth another connection.
constexpr int kSmallestSplit = 320 * 1024;
constexpr int kLargest = 900 * 1024;
/// Large enough for eight connections.
constexpr int kSmallestOfMany = 3 * 1024 * 1024;
constexpr int kLargestOfMany = 5 * 1024 * 1024;
constexpr int kSmall = 40 * 1024;
constexpr qint64 kFirstDate = 1600000000;
constexpr qint64 kDay = 86400;
/// Of tests' own contents: other seeds begin at 1.
constexpr quint64 kFirstContent = 1ULL << 40;

constexpr std::array<const char *, kHostileFaults> kFaultNames{
    "none",
    "length too small",
    "length too large",
    "two lengths",
    "cut",
    "cut after 1 KiB",
    "chunk of nonsense",
    "no last chunk",
    "chunked with a length",
    "cut without a length",
    "no answer",
    "another place",
    "another place, unsaid",
    "the head in place of the range",
    "the whole to a range",
    "wrong total",
    "no total",
    "smaller piece",
    "several pieces",
    "no Content-Range",
    "a piece to the whole",
    "404",
    "410",
    "403",
    "429, Retry-After: 0",
    "429, Retry-After: 1",
    "500",
    "503",
    "416",
    "204",
    "login page",
    "redirect without an address",
    "redirect to itself",
    "another ETag",
    "no ETag",
    "weak ETag",
    "another date",
    "no date",
    "an empty piece",
    "an empty file",
};

bool happens(QRandomGenerator &chance, int percent)
{
    return chance.bounded(100) < percent;
}

template<typename Value>
Value oneOf(QRandomGenerator &chance, const QList<Value> &values)
{
    return values.at(chance.bounded(int(values.size())));
}

/// What tells a resource's versions apart.
struct Signs {
    enum class Kind { None, Same, Differs, Vanishes, Appears };

    Kind etag = Kind::Differs;
    bool isWeak = false;
    QByteArray etagName;
    Kind date = Kind::Differs;
    QByteArray dateName;
    HostileVersion::DateForm dateForm = HostileVersion::DateForm::Usual;
    bool isSizeSame = true;
    bool isContentSame = false; ///< two servers with two opinions of one file
    int baseSize = 0;

    explicit Signs(QRandomGenerator &chance)
    {
        static const QList<Kind> kinds{Kind::None,    Kind::None,    Kind::Same,     Kind::Differs,
                                       Kind::Differs, Kind::Differs, Kind::Vanishes, Kind::Appears};
        static const QList<HostileVersion::DateForm> forms{
            HostileVersion::DateForm::Usual, HostileVersion::DateForm::Usual, HostileVersion::DateForm::Usual,
            HostileVersion::DateForm::Old, HostileVersion::DateForm::Oldest};
        etag = oneOf(chance, kinds);
        isWeak = happens(chance, 35);
        etagName = oneOf(chance, QList<QByteArray>{"ETag", "ETag", "etag", "ETAG", "Etag"});
        date = oneOf(chance, kinds);
        dateName = oneOf(chance, QList<QByteArray>{"Last-Modified", "Last-Modified", "last-modified", "LAST-MODIFIED"});
        dateForm = oneOf(chance, forms);
        isSizeSame = happens(chance, 70);
        isContentSame = happens(chance, 10);
    }

    static bool isThere(Kind kind, int version)
    {
        return kind != Kind::None && (kind != Kind::Vanishes || version == 0) && (kind != Kind::Appears || version > 0);
    }

    HostileVersion version(int i, quint64 content, int size) const
    {
        const int etagNumber = etag == Kind::Same ? 0 : i;
        const int dateNumber = date == Kind::Same ? 0 : i;
        HostileVersion version;
        version.content = content + (isContentSame ? 0 : quint64(i));
        version.size = size;
        version.etagName = etagName;
        version.modifiedName = dateName;
        version.dateForm = dateForm;
        if (isThere(etag, i))
            version.etag = QByteArray(isWeak ? "W/" : "") + "\"v" + QByteArray::number(etagNumber) + '"';
        if (isThere(date, i))
            version.modified = kFirstDate + dateNumber * kDay;
        return version;
    }
};

int pickSize(QRandomGenerator &chance, bool isSmall)
{
    const int kind = chance.bounded(100);
    if (isSmall)
        return chance.bounded(1, kSmall);
    if (kind < 10)
        return chance.bounded(1, kLargest);
    return kind < 90 ? chance.bounded(kSmallestSplit, kLargest) : chance.bounded(kSmallestOfMany, kLargestOfMany);
}

QList<HostileVersion> pickVersions(QRandomGenerator &chance, quint64 content, bool isSmall)
{
    const Signs signs(chance);
    const int count = happens(chance, 30) ? 1 : 2 + chance.bounded(kMostVersions - 1);
    int size = pickSize(chance, isSmall);
    QList<HostileVersion> versions;
    for (int i = 0; i < count; ++i) {
        versions.append(signs.version(i, content, size));
        if (!signs.isSizeSame && !signs.isContentSame)
            size = std::max(1, size + chance.bounded(2000) - 1000);
    }
    return versions;
}

void pickChange(QRandomGenerator &chance, HostileResource &resource)
{
    static const QList<Change> kinds{
        Change::AfterRequests, Change::AfterRequests, Change::AfterRequests, Change::AfterBytes,
        Change::AfterBytes,    Change::AfterBytes,    Change::BetweenRuns,   Change::BetweenRuns,
        Change::Flips,         Change::Flips,         Change::WithinBody,
    };
    resource.change = resource.versions.size() == 1 ? Change::Never : oneOf(chance, kinds);
    if (resource.change == Change::AfterBytes)
        resource.changeAfter = 1 + chance.bounded(int(resource.versions.constFirst().size));
    else if (resource.change == Change::AfterRequests)
        resource.changeAfter = 1 + chance.bounded(6);
}

void pickRedirect(QRandomGenerator &chance, HostileResource &resource)
{
    static const QList<Redirect> kinds{Redirect::ToOne,         Redirect::ToOne,    Redirect::ToNewOnes,
                                       Redirect::ToNewOnes,     Redirect::ToSigned, Redirect::ToSigned,
                                       Redirect::AtTimesToLogin};
    if (happens(chance, 45))
        return;
    resource.redirect = oneOf(chance, kinds);
    resource.hops = happens(chance, 70) ? 0 : 1 + chance.bounded(kMostHops);
    resource.crossesServers = happens(chance, 50);
    resource.signedUses = 1 + chance.bounded(6);
    resource.expiresAsGone = happens(chance, 30);
}

void pickManner(QRandomGenerator &chance, HostileResource &resource)
{
    resource.framing = happens(chance, 75)
        ? Framing::Length
        : oneOf(chance, QList<Framing>{Framing::Chunked, Framing::Close, Framing::Any});
    resource.honoursRanges = !happens(chance, 7);
    resource.acceptRanges = oneOf(chance, QList<QByteArray>{"bytes", "bytes", "bytes", "bytes", "", "none"});
    resource.pieces = happens(chance, 75) ? 8 + chance.bounded(60) : 0;
    resource.longestPauseMs = chance.bounded(9);
    resource.percentStalled = happens(chance, 25) ? 10 : 0;
}

void pickFaults(QRandomGenerator &chance, HostileResource &resource)
{
    if (happens(chance, 20))
        return;
    for (int i = 1 + chance.bounded(kMostKindsOfFaults); i > 0; --i)
        resource.faults.append(HostileFault(1 + chance.bounded(kHostileFaults - 1)));
    resource.percentFaulty = 15 + chance.bounded(70);
    resource.soundAtFirst = happens(chance, 60) ? 1 + chance.bounded(4) : 0;
    resource.mostFaults = happens(chance, 60) ? 1 + chance.bounded(12) : -1;
    // The server that will not do any better.
    if (happens(chance, 20)) {
        resource.percentFaulty = 100;
        resource.mostFaults = -1;
        resource.soundAtFirst = chance.bounded(5);
    }
}

HostileResource pickResource(QRandomGenerator &chance, int number, quint64 content)
{
    HostileResource resource;
    resource.name = "r" + QByteArray::number(number) + ".bin";
    pickFaults(chance, resource);
    // Cut each KiB, a large file would take minutes.
    const bool isSmall = resource.faults.contains(HostileFault::CutAfterKibibyte);
    resource.versions = pickVersions(chance, content, isSmall);
    pickChange(chance, resource);
    pickRedirect(chance, resource);
    pickManner(chance, resource);
    return resource;
}

QString changeInWords(const HostileResource &resource)
{
    switch (resource.change) {
    case Change::Never:
        return u"never changes"_s;
    case Change::AfterRequests:
        return u"changes every %1 requests"_s.arg(resource.changeAfter);
    case Change::AfterBytes:
        return u"changes every %1 bytes"_s.arg(resource.changeAfter);
    case Change::BetweenRuns:
        return u"changes between runs"_s;
    case Change::Flips:
        return u"has backends that answer by chance"_s;
    case Change::WithinBody:
        return u"changes within a body"_s;
    }
    return {};
}

QString redirectInWords(const HostileResource &resource)
{
    const QString where = u" over %1 more hops%2"_s.arg(resource.hops)
                              .arg(resource.crossesServers ? u", from server to server"_s : QString());
    switch (resource.redirect) {
    case Redirect::Never:
        return u"no redirect"_s;
    case Redirect::ToOne:
        return u"redirects to one address"_s + where;
    case Redirect::ToNewOnes:
        return u"redirects to a new address each time"_s + where;
    case Redirect::ToSigned:
        return u"redirects to addresses that are good for %1 requests (then %2)"_s.arg(resource.signedUses)
                   .arg(resource.expiresAsGone ? 410 : 403)
            + where;
    case Redirect::AtTimesToLogin:
        return u"redirects, at times to a login page"_s + where;
    }
    return {};
}

QByteArray dateIn(HostileVersion::DateForm form, qint64 seconds)
{
    const QDateTime date = QDateTime::fromSecsSinceEpoch(seconds, QTimeZone::utc());
    const QLocale english = QLocale::c();
    switch (form) {
    case HostileVersion::DateForm::Usual:
        return english.toString(date, u"ddd, dd MMM yyyy hh:mm:ss 'GMT'"_s).toLatin1();
    case HostileVersion::DateForm::Old:
        return english.toString(date, u"dddd, dd-MMM-yy hh:mm:ss 'GMT'"_s).toLatin1();
    case HostileVersion::DateForm::Oldest:
        break;
    }
    const QString day = QString::number(date.date().day()).rightJustified(2);
    return (english.toString(date, u"ddd MMM "_s) + day + english.toString(date, u" hh:mm:ss yyyy"_s)).toLatin1();
}
}

QByteArray HostileVersion::fields() const
{
    QByteArray fields;
    if (!etag.isEmpty())
        fields += etagName + ": " + etag + "\r\n";
    if (modified != 0)
        fields += modifiedName + ": " + dateIn(dateForm, modified) + "\r\n";
    return fields;
}

QString HostileVersion::inWords() const
{
    return u"%1 bytes of %2, %3"_s.arg(QString::number(size), QString::number(content),
                                       QString::fromLatin1(fields().trimmed()).replace(u"\r\n"_s, u", "_s));
}

QString inWords(HostileFault fault)
{
    return QString::fromLatin1(kFaultNames.at(size_t(fault)));
}

bool HostileResource::isSound() const
{
    return change == Change::Never && faults.isEmpty() && redirect != Redirect::AtTimesToLogin;
}

bool HostileResource::isResumable() const
{
    return honoursRanges && acceptRanges != "none" && framing == Framing::Length;
}

QString HostileResource::inWords() const
{
    QStringList lines{QString::fromLatin1(name) + u": "_s + changeInWords(*this) + u"; "_s + redirectInWords(*this)};
    for (const HostileVersion &version : versions)
        lines.append(u"version: "_s + version.inWords());
    static const QStringList framings{u"by length"_s, u"in chunks"_s, u"by closing"_s, u"by any of these"_s};
    lines.append(u"the whole ends %1; %2; Accept-Ranges: \"%3\"; in %4 pieces"_s.arg(
        framings.at(int(framing)), honoursRanges ? u"ranges"_s : u"no ranges"_s, QString::fromLatin1(acceptRanges),
        QString::number(pieces)));
    QStringList kinds;
    for (const HostileFault fault : faults)
        kinds.append(::inWords(fault));
    if (!faults.isEmpty())
        lines.append(u"faults, %1 % behind the first %2, %3: %4"_s.arg(
            QString::number(percentFaulty), QString::number(soundAtFirst),
            mostFaults < 0 ? u"without end"_s : u"%1 at most"_s.arg(mostFaults), kinds.join(u", "_s)));
    return lines.join(u"\n    "_s);
}

HostileWorld HostileWorld::fromSeed(quint32 seed)
{
    QRandomGenerator chance(seed * 2654435761U + 17);
    HostileWorld world;
    world.servers = 1 + chance.bounded(kMostServers);
    const int resources = happens(chance, 50) ? 1 : 1 + chance.bounded(kMostResources);
    for (int i = 0; i < resources; ++i)
        world.resources.append(pickResource(chance, i, kFirstContent + seed * 64ULL + quint64(i) * 16));
    world.hasMirror = resources == 1 && happens(chance, 25);
    world.hasChecksum = resources == 1 && happens(chance, 20);
    world.connections = 1 + chance.bounded(kMostConnections);
    world.tries = 1 + chance.bounded(kMostTries);
    world.restartsChanged = happens(chance, 50);
    world.restartsUnresumable = happens(chance, 50);
    return world;
}

QString HostileWorld::inWords() const
{
    QStringList lines{u"%1 servers, %2 connections, %3 tries; changed: %4, unresumable: %5%6%7"_s.arg(
        QString::number(servers), QString::number(connections), QString::number(tries),
        restartsChanged ? u"restart"_s : u"fail"_s, restartsUnresumable ? u"restart"_s : u"fail"_s,
        hasMirror ? u"; with a mirror"_s : QString(), hasChecksum ? u"; with a checksum"_s : QString())};
    for (const HostileResource &resource : resources)
        lines.append(resource.inWords());
    return lines.join(u"\n  "_s);
}
