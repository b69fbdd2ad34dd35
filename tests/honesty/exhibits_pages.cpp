// SPDX-License-Identifier: MIT
#include <tests/honesty/scripts.h>

#include <QSet>

#include <functional>

namespace
{
using Visit = Exhibit::Visit;

constexpr qint64 kSize = FileVersion::kSize;
constexpr int kManyTargets = 200;

const FileVersion kFile = FileVersion::number(0);
const QList<Visit> kAnyTime = {Visit::AtOnce, Visit::AfterACut, Visit::TakenUpAgain};

/// Where request number so many is sent on to, a path of its own each time.
QByteArray targetOf(int number)
{
    return "/target/" + QByteArray::number(number) + "/file.bin";
}

bool isTarget(const Asked &asked)
{
    return asked.path.startsWith("/target/");
}

int numberOfTarget(const Asked &asked)
{
    return asked.path.split('/').at(2).toInt();
}

Exhibit::Script newTargetEachTime(const std::function<FileVersion(int)> &versionOf)
{
    return [versionOf](const Asked &asked) {
        return isTarget(asked) ? versionOf(numberOfTarget(asked)).sound()
                               : ScriptedResponse::redirect(targetOf(asked.number));
    };
}

/// Each of a script's copies counts for itself.
Exhibit::Script targetsThatRunOut()
{
    return [next = 0, used = QSet<int>()](const Asked &asked) mutable {
        if (!isTarget(asked)) {
            return ScriptedResponse::redirect(targetOf(next++));
        }
        const int number = numberOfTarget(asked);
        const bool isUsed = used.contains(number);
        used.insert(number);
        return isUsed ? Scripts::page(403, "This address has run out") : kFile.sound();
    };
}

FileVersion undated(int number)
{
    return FileVersion::number(number).withDate({});
}

FileVersion ofItsOwnSize(int number)
{
    return FileVersion::number(number).withSize(kSize + number * qint64(1000));
}

QList<FileVersion> manyOf(const std::function<FileVersion(int)> &versionOf)
{
    QList<FileVersion> versions;
    for (int number = 0; number < kManyTargets; ++number) {
        versions.append(versionOf(number));
    }
    return versions;
}

ScriptedResponse toTheLogin(const Asked &asked)
{
    return asked.path == Exhibit::kPath ? ScriptedResponse::redirect("/login/file.bin")
                                        : Scripts::page(200, "Please log in");
}

ScriptedResponse pageAsARange(const Asked &)
{
    ScriptedResponse response = Scripts::page(206, "Welcome to this network");
    const qint64 size = response.body.size();
    return response.withHeader("Content-Range", FileVersion::contentRange(0, size - 1, size));
}

QList<Exhibit> errorPages()
{
    return {
        {.name = "an error page in place of one answer",
         .about = "200 and a page of HTML to the second request; all others are answered soundly.",
         .script =
             [](const Asked &asked) {
                 return asked.number == 1 ? Scripts::page(200, "Something went wrong") : kFile.sound();
             }},
        {.name = "too much to do, once",
         .about = "503 with a page of HTML to the second request; all others are answered soundly.",
         .script =
             [](const Asked &asked) {
                 return asked.number == 1 ? Scripts::page(503, "Too much to do") : kFile.sound();
             },
         .visits = kAnyTime,
         .rightIn = kAnyTime},
        {.name = "too much to do from now on",
         .about = "503 with a page of HTML.",
         .script = Scripts::later([](const Asked &) { return Scripts::page(503, "Too much to do"); })},
        {.name = "not found any more", .about = "404 with a page of HTML.", .script = Scripts::later([](const Asked &) {
                                                                                return Scripts::page(404, "Not found");
                                                                            })},
        {.name = "an empty answer", .about = "200 with a length of 0.", .script = Scripts::later([](const Asked &) {
                                                                            return ScriptedResponse::ok({});
                                                                        })},
    };
}

QList<Exhibit> portals()
{
    return {
        {.name = "a login page behind a redirect",
         .about = "302 to a page of HTML with 200: the login has run out.",
         .script = Scripts::later(toTheLogin)},
        {.name = "a portal that answers everything itself",
         .about = "200 and a page of HTML, to ranges, too.",
         .script = Scripts::later([](const Asked &) { return Scripts::page(200, "Welcome to this network"); })},
        {.name = "a portal that has ranges of its own page",
         .about = "206 and a page of HTML, all of which its Content-Range names.",
         .script = Scripts::later(pageAsARange)},
    };
}

QList<Exhibit> redirectors()
{
    return {
        {.name = "another target each time, with the same file",
         .about = "302 to another address each time, as from a network of mirrors; all have the same ETag.",
         .script = newTargetEachTime([](int) { return kFile; }),
         .visits = kAnyTime,
         .rightIn = {Visit::AtOnce}},
        {.name = "another target each time, with the same bytes and an ETag of its own",
         .about = "302 to another address each time; each server makes up its own ETag.",
         .script = newTargetEachTime(
             [](int number) { return kFile.withETag("\"server-" + QByteArray::number(number) + '"'); }),
         .visits = kAnyTime},
        {.name = "another target each time, with another version",
         .about = "302 to another address each time; each has a file of the same size, with its ETag and date.",
         .script = newTargetEachTime(&FileVersion::number),
         .visits = kAnyTime,
         .versions = manyOf([](int number) { return FileVersion::number(number); })},
        {.name = "another target each time, with another version that its ETag alone tells",
         .about = "The same without a date.",
         .script = newTargetEachTime(&undated),
         .visits = kAnyTime,
         .versions = manyOf(&undated)},
        {.name = "a target that answers once",
         .about = "302 to an address that is good for one answer, as addresses are that run out; then it says 403.",
         .script = targetsThatRunOut(),
         .visits = kAnyTime,
         .rightIn = kAnyTime},
        {.name = "another target each time, with a file of another size",
         .about = "302 to another address each time; each has another version, with its ETag and date.",
         .script = newTargetEachTime(&ofItsOwnSize),
         .visits = kAnyTime,
         .versions = manyOf(&ofItsOwnSize)},
    };
}
}

QList<Exhibit> Exhibit::ofPages()
{
    return errorPages() + portals() + redirectors();
}
