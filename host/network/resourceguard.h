// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/requestpath.h>
#include <host/network/transferpipe.h>
#include <host/policy/resourcememory.h>
#include <host/policy/secretheader.h>

#include <QHash>
#include <QObject>
#include <QSet>
#include <QString>
#include <QUrl>

#include <optional>

/// Sees to it that all bytes of one download are of one resource.
///
/// It remembers of each address where its redirects led and what identified the resource there. While bytes are held,
/// or an answer brings some, requests go straight to that target: one server, and one round trip less for each. A
/// target that is gone, is silent or asks for something leads back to the address, once. All that time every answer is
/// held against what is remembered, and one that contradicts it is refused. Without bytes there is nothing to go on
/// with, and the address itself is asked, as if for the first time.
///
/// To whom a request is led, and back, is told by redirects that no server sent. They are marked as such, and while one
/// is told isMadeUp() says so, so that nobody is shown what never was on the wire.
///
/// One for each download that runs; shared by its manager and its owner, in their thread.
class ResourceGuard : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ResourceGuard)

public:
    enum class Task {
        Download,
        Look, ///< to learn what a server has: every answer is welcome, and the address itself is asked
    };

    struct Judgement {
        enum class Kind {
            Welcome,
            LedBack, ///< the address itself is to be asked
            Refused,
        };
        Kind kind = Kind::Welcome;
        QString reason; ///< of a refusal, as a sentence
        Evidence::Answer answer; ///< what a good one says; nothing of any other
        bool hasOtherDate = false; ///< of a welcome one: its date differs, and its ETag proves it the same
    };

    /// Of redirects that no server sent.
    static constexpr char kMadeUpReason[] = "Remembered, Nothing Was Sent";
    /// Modules follow 15. Going to a target and back takes two.
    static constexpr int kMostRedirects = 12;
    /// Less than a module waits for an answer.
    static constexpr int kPatienceMs = 30000;

    explicit ResourceGuard(Task task, QObject *parent = nullptr);
    ~ResourceGuard() override;

    /// Before the run. @param holdsBytes some of the file are there
    void setMemory(const ResourceMemory &memory, bool holdsBytes);
    const ResourceMemory &memory() const { return m_memory; }
    /// Those of this download whose values the list has, for its requests alone.
    void setKeptHeaders(const QList<SecretHeader> &headers) { m_keptHeaders = headers; }
    const QList<SecretHeader> &keptHeaders() const { return m_keptHeaders; }
    /// A POST is no question that somebody else may be asked.
    void setMayLead(bool mayLead) { m_mayLead = mayLead; }
    /// How long a remembered target may be silent before the address itself is asked.
    void setPatience(int milliseconds) { m_patienceMs = milliseconds; }
    int patienceMs() const { return m_patienceMs; }

    /// There is something that answers from this address are held against.
    bool knows(const QUrl &address) const { return find(address) != nullptr; }
    /// An answer contradicted what is remembered. Of a task Look, too.
    bool hasFoundChange() const { return !m_changedAddress.isEmpty(); }
    /// The address whose answer was the first that did.
    QUrl changedAddress() const { return m_changedAddress; }

    /// Of the last good answer.
    const QList<ResourceIdentity::Field> &lastFields() const { return m_lastFields; }

    /// Of a task Look: what spares a server the file itself where it has not changed; it answers with 304 then. Empty =
    /// nothing is known by which it could tell.
    QList<ResourceIdentity::Field> conditionsOf(const RequestPath &path) const;

    // For the chief and the manager

    /// The next request is for @p url: whether it will go elsewhere, so that what its sender tells of it is made up.
    void expect(const QUrl &url);
    bool isMadeUp() const { return m_isMadeUp; }
    /// How a request to this URL comes about. Between beginRedirect() and endRedirect(), one to that target goes on
    /// with the way that led there.
    RequestPath pathTo(const QUrl &url, bool isRest);
    /// Where a request is to be led; empty = it is sent.
    QUrl ledTo(const RequestPath &path) const;
    void beginRedirect(const RequestPath &path, const QUrl &target, bool isMadeUp);
    void endRedirect();

    /// Whether there is something of a resource behind such a status.
    static bool isGood(int status);
    /// What an answer says of the resource.
    static Evidence::Answer answerOf(const RequestPath &path, const TransferPipe::Head &head);
    /// @param head of an answer, be it a redirect
    Judgement judge(const RequestPath &path, const TransferPipe::Head &head);
    /// The same where no answer came.
    bool isLedBack(const RequestPath &path, QNetworkReply::NetworkError error);
    /// An answer is welcome and goes on; each is ended once.
    void beginAnswer() { ++m_answers; }
    void endAnswer() { --m_answers; }
    /// An answer without a byte would bring nothing new: some are there already, or under way, or the rest is asked
    /// for.
    bool needsBytes(const RequestPath &path) const;
    /// The first bytes of an answer are taken.
    void takeBytes(const Evidence::Answer &answer);
    /// An answer without a byte is the whole file.
    void takeEmptyFile(const Evidence::Answer &answer) { note(answer); }

Q_SIGNALS:
    /// An answer is of another resource, and nothing of it will be handed out. Once. @param reason a sentence
    void refused(const QString &reason);

private:
    KnownAddress *find(const QUrl &address);
    const KnownAddress *find(const QUrl &address) const;
    bool mayUseTarget(const QUrl &address) const;
    bool isTargetOfAnother(const QUrl &address) const;
    bool holdsBytes() const { return m_holdsBytes || m_answers > 0; }
    bool mayBeLedBack(const RequestPath &path) const;
    void leadBack(const RequestPath &path);
    Judgement refusal(const Evidence::Answer &answer, const QString &reason);
    ResourceIdentity heldIdentity(const RequestPath &path) const;
    void forgetIdentities();
    void note(const Evidence::Answer &answer) { m_memory.evidence.add(answer); }
    void learn(const RequestPath &path, const ResourceIdentity &identity);

    struct Following {
        RequestPath path;
        QUrl target;
    };

    const Task m_task;
    ResourceMemory m_memory;
    QList<SecretHeader> m_keptHeaders;
    bool m_holdsBytes = false;
    bool m_mayLead = true;
    int m_patienceMs = kPatienceMs;
    int m_answers = 0; ///< that go on
    QSet<QUrl> m_forsaken; ///< addresses whose target failed in this run, and that have no other yet
    QHash<QUrl, int> m_failures; ///< of an address's targets in this run
    std::optional<Following> m_following;
    bool m_isMadeUp = false;
    QList<ResourceIdentity::Field> m_lastFields;
    QUrl m_changedAddress;
};
