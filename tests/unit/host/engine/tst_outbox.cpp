// SPDX-License-Identifier: MIT
#include <host/engine/outbox.h>

#include <QList>
#include <QTest>

#include <optional>

class TestOutbox : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stepsAreTakenInOrderWhenTheOutermostScopeEnds();
    void stepsThatArePutByAStepComeBehind();
    void noneIsTakenOnceTheOutboxIsGone();
};

void TestOutbox::stepsAreTakenInOrderWhenTheOutermostScopeEnds()
{
    Outbox outbox;
    QList<int> taken;
    {
        const Outbox::Scope outer(outbox);
        outbox.put([&] { taken.append(1); });
        {
            const Outbox::Scope inner(outbox);
            outbox.put([&] { taken.append(2); });
        }
        QVERIFY(taken.isEmpty());
    }
    QCOMPARE(taken, (QList<int>{1, 2}));
}

void TestOutbox::stepsThatArePutByAStepComeBehind()
{
    Outbox outbox;
    QList<int> taken;
    {
        const Outbox::Scope scope(outbox);
        outbox.put([&] {
            const Outbox::Scope nested(outbox);
            outbox.put([&] { taken.append(3); });
            taken.append(1);
        });
        outbox.put([&] { taken.append(2); });
    }
    QCOMPARE(taken, (QList<int>{1, 2, 3}));
}

void TestOutbox::noneIsTakenOnceTheOutboxIsGone()
{
    std::optional<Outbox> outbox(std::in_place);
    QList<int> taken;
    {
        const Outbox::Scope scope(*outbox);
        outbox->put([&] {
            taken.append(1);
            outbox.reset();
        });
        outbox->put([&] { taken.append(2); });
    }
    QCOMPARE(taken, QList<int>{1});
}

QTEST_GUILESS_MAIN(TestOutbox)
#include "tst_outbox.moc"
