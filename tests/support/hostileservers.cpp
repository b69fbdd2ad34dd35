// SPDX-License-Identifier: MIT
#include <tests/support/hostileservers.h>

#include <QElapsedTimer>
#include <QHash>
#include <QMutex>
#include <QPair>
#include <QSet>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{
using Change = HostileResource::Change;
using Redirect = HostileResource::Redirect;

constexpr int kPercentLogin = 15;

/// What is asked for: "/r0/a0/STEP/NAME". The step is "g" for the address that a person gave, "h3" for a hop with three
/// more behind it, "t5" for the file itself, and "login".
struct Place {
    int resource = 0;
    int address = 0;
    QByteArray step;

    static Place of(const ScriptedRequest &request)
    {
        const QList<QByteArray> parts = request.path().split('/');
        return {parts.value(1).mid(1).toInt(), parts.value(2).mid(1).toInt(), parts.value(3)};
    }

    QByteArray path(const QByteArray &name) const
    {
        return "/r" + QByteArray::number(resource) + "/a" + QByteArray::number(address) + '/' + step + '/' + name;
    }
};

/// Of which content, and from where on. Who asks again from the same place took nothing of what came.
using Beginning = QPair<quint64, qint64>;

bool bringsNew(const HostileReading &reading, QSet<Beginning> *known)
{
    if (!reading.isUsable || reading.size() == 0)
        return false;
    const Beginning beginning{reading.pieces.constFirst().content, reading.from};
    const bool isNew = !known->contains(beginning);
    known->insert(beginning);
    return isNew;
}

QString lineFor(const ScriptedRequest &request, const HostileAnswer &answer, quint16 port, int run, qint64 atMs)
{
    const QByteArray &bytes = answer.paced.bytes;
    const QString end = answer.paced.end == PacedAnswer::End::KeepOpen ? u"keep"_s
        : answer.paced.end == PacedAnswer::End::Close                  ? u"close"_s
                                                                       : u"reset"_s;
    QStringList pieces;
    for (const HostileReading::Piece &piece : answer.reading.pieces)
        pieces.append(u"%1 of %2 from %3"_s.arg(piece.size).arg(piece.content).arg(piece.at));
    const QString fault = answer.fault == HostileFault::None ? QString() : u"FAULT (%1) "_s.arg(inWords(answer.fault));
    return u"run %1, %2 ms, :%3 #%4 %5 %6 -> %7%8; %9"_s.arg(
               QString::number(run), QString::number(atMs), QString::number(port), QString::number(request.connection),
               QString::fromLatin1(request.target), QString::fromLatin1(request.header("Range")), fault,
               QString::fromLatin1(bytes.left(bytes.indexOf("\r\n\r\n"))).replace(u"\r\n"_s, u" | "_s), end)
        + (pieces.isEmpty() ? QString() : u"; can be read: "_s + pieces.join(u", then "_s))
        + (answer.reading.isWhole ? u" (whole)"_s : QString());
}
}

class HostileBook
{
public:
    explicit HostileBook(const HostileWorld &world)
        : m_world(world)
        , m_states(world.resources.size())
    {
        m_clock.start();
    }

    void setPorts(const QList<quint16> &ports)
    {
        const QMutexLocker lock(&m_mutex);
        m_ports = ports;
    }

    void beginRun()
    {
        const QMutexLocker lock(&m_mutex);
        ++m_run;
        for (State &state : m_states) {
            state.begun.clear();
            state.changes += int(m_run > 1);
        }
    }

    QList<HostileServers::Entry> log(int resource) const
    {
        const QMutexLocker lock(&m_mutex);
        return m_states.at(resource).log;
    }

    PacedAnswer take(const ScriptedRequest &request, int server)
    {
        const QMutexLocker lock(&m_mutex);
        const Place place = Place::of(request);
        if (place.resource < 0 || place.resource >= m_states.size())
            return {"HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n"};
        const HostileResource &resource = m_world.resources.at(place.resource);
        State &state = m_states[place.resource];
        const quint32 mixed = quint32(resource.versions.constFirst().content) * 2654435761U;
        QRandomGenerator chance(mixed + quint32(state.log.size()) * 40503U);
        HostileAnswer answer = answerTo(request, place, server, resource, state, chance);
        answer.reading.address = place.address;
        HostileServers::Entry entry{m_run, m_clock.elapsed(), answer.paced.bytes.contains("\r\nLocation: "),
                                    false, answer.reading,    {}};
        entry.bringsNew = bringsNew(answer.reading, &state.begun);
        entry.line = lineFor(request, answer, m_ports.at(server), m_run, entry.atMs);
        state.log.append(entry);
        state.bytes += answer.reading.size();
        return answer.paced;
    }

private:
    struct State {
        QList<HostileServers::Entry> log;
        QSet<Beginning> begun; ///< in this run
        QHash<QByteArray, int> uses; ///< of signed addresses
        int answers = 0; ///< of the file itself
        int faults = 0;
        qint64 bytes = 0;
        int changes = 0; ///< runs begun behind the first one
    };

    static bool isOnTheWay(const Place &place, const HostileResource &resource)
    {
        return place.step.startsWith('h') || (place.step == "g" && resource.redirect != Redirect::Never);
    }

    HostileAnswer answerTo(const ScriptedRequest &request, const Place &place, int server,
                           const HostileResource &resource, State &state, QRandomGenerator &chance)
    {
        const int version = versionNow(resource, state, chance);
        const int next = std::min(version + 1, int(resource.versions.size()) - 1);
        HostileAnswerMaker maker(resource, resource.versions.at(version), resource.versions.at(next), chance);
        if (isOnTheWay(place, resource))
            return maker.redirect(nextStep(place, server, resource, state, chance));
        if (place.step == "login")
            return maker.loginPage();
        const bool isExpired = place.step.startsWith('s') && state.uses[place.step]++ >= resource.signedUses;
        if (isExpired)
            return maker.status(resource.expiresAsGone ? "410 Gone" : "403 Forbidden");
        HostileAnswer answer = maker.answer(request, faultNow(resource, state, chance));
        ++state.answers;
        state.faults += int(answer.fault != HostileFault::None);
        return answer;
    }

    static int versionNow(const HostileResource &resource, const State &state, QRandomGenerator &chance)
    {
        const int last = int(resource.versions.size()) - 1;
        switch (resource.change) {
        case Change::Never:
        case Change::WithinBody:
            break;
        case Change::AfterRequests:
            return int(std::min<qint64>(last, state.answers / resource.changeAfter));
        case Change::AfterBytes:
            return int(std::min<qint64>(last, state.bytes / resource.changeAfter));
        case Change::BetweenRuns:
            return std::min(last, state.changes);
        case Change::Flips:
            return chance.bounded(last + 1);
        }
        return 0;
    }

    static HostileFault faultNow(const HostileResource &resource, const State &state, QRandomGenerator &chance)
    {
        const bool mayFail = !resource.faults.isEmpty() && state.answers >= resource.soundAtFirst
            && (resource.mostFaults < 0 || state.faults < resource.mostFaults);
        if (!mayFail || chance.bounded(100) >= resource.percentFaulty)
            return HostileFault::None;
        return resource.faults.at(chance.bounded(int(resource.faults.size())));
    }

    QByteArray nextStep(const Place &place, int server, const HostileResource &resource, const State &state,
                        QRandomGenerator &chance) const
    {
        Place next = place;
        const int left = place.step == "g" ? resource.hops : place.step.mid(1).toInt() - 1;
        const QByteArray number = QByteArray::number(state.log.size());
        if (left > 0)
            next.step = "h" + QByteArray::number(left);
        else if (resource.redirect == Redirect::AtTimesToLogin && chance.bounded(100) < kPercentLogin)
            next.step = "login";
        else if (resource.redirect == Redirect::ToNewOnes)
            next.step = "t" + number;
        else if (resource.redirect == Redirect::ToSigned)
            next.step = "s" + number;
        else
            next.step = "t0";
        const int to = resource.crossesServers ? (server + 1) % int(m_ports.size()) : server;
        const QByteArray path = next.path(resource.name);
        return to == server && chance.bounded(2) == 0 ? path
                                                      : "http://127.0.0.1:" + QByteArray::number(m_ports.at(to)) + path;
    }

    const HostileWorld m_world;
    QElapsedTimer m_clock;
    mutable QMutex m_mutex; ///< for all that follows
    QList<quint16> m_ports;
    QList<State> m_states;
    int m_run = 0;
};

HostileServers::HostileServers(const HostileWorld &world)
    : m_book(std::make_shared<HostileBook>(world))
{
    QList<quint16> ports;
    for (int i = 0; i < world.servers; ++i) {
        m_servers.push_back(std::make_unique<PacedServer>(
            [book = m_book, i](const ScriptedRequest &request, bool) { return book->take(request, i); }));
        ports.append(m_servers.back()->port());
    }
    m_book->setPorts(ports);
}

bool HostileServers::areListening() const
{
    return std::all_of(m_servers.cbegin(), m_servers.cend(), [](const auto &server) { return server->port() != 0; });
}

QUrl HostileServers::url(int resource, int address) const
{
    const PacedServer &server = *m_servers.at(size_t(resource + address) % m_servers.size());
    return QUrl(u"http://127.0.0.1:%1/r%2/a%3/g/r%2.bin"_s.arg(server.port()).arg(resource).arg(address));
}

void HostileServers::beginRun()
{
    m_book->beginRun();
}

QList<HostileServers::Entry> HostileServers::log(int resource) const
{
    return m_book->log(resource);
}
