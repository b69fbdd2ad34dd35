// SPDX-License-Identifier: MIT
#include <tests/integration/framingruns.h>

#include <QSet>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{
constexpr qsizetype kPieces[] = {1, 7, 4096};
/// Every cut in pieces of every size; otherwise each in one of them.
constexpr char kEveryPiece[] = "PLAIT_EVERY_PIECE";
}

/// Where a body begins and ends is for the answer's framing to say, and for nothing else.
class TestPlaitFraming : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void noTwoCasesHaveOneName();
    void everyAnswerIsWholeOrRefusedAsItsFramingSays_data();
    void everyAnswerIsWholeOrRefusedAsItsFramingSays();
    void anAnswerThatIsCutNeverBecomesAnotherFile_data();
    void anAnswerThatIsCutNeverBecomesAnotherFile();

private:
    QList<FramingCase> m_rows;
    QList<FramingOutcome> m_outcomes;
};

void TestPlaitFraming::initTestCase()
{
    m_rows = allFramingCases();
    m_outcomes = FramingRuns::runAll(m_rows, FramingRuns::runPlait);
}

void TestPlaitFraming::noTwoCasesHaveOneName()
{
    QSet<QByteArray> names;
    for (const FramingCase &row : std::as_const(m_rows)) {
        QVERIFY2(!names.contains(row.name), row.name.constData());
        names.insert(row.name);
    }
}

void TestPlaitFraming::everyAnswerIsWholeOrRefusedAsItsFramingSays_data()
{
    QTest::addColumn<qsizetype>("row");
    for (qsizetype row = 0; row < m_rows.size(); ++row) {
        QTest::newRow(m_rows.at(row).name.constData()) << row;
    }
}

void TestPlaitFraming::everyAnswerIsWholeOrRefusedAsItsFramingSays()
{
    QFETCH(const qsizetype, row);
    const QString wrong = m_outcomes.at(row).wrongFor(m_rows.at(row));
    QVERIFY2(wrong.isEmpty(), qPrintable(wrong + u" ("_s + QString::fromUtf8(m_rows.at(row).rule) + u')'));
}

void TestPlaitFraming::anAnswerThatIsCutNeverBecomesAnotherFile_data()
{
    QTest::addColumn<qsizetype>("sound");
    QTest::addColumn<qsizetype>("piece"); // 0: another one with each cut
    const QList<SoundAnswer> all = soundAnswers();
    const bool everyPiece = qEnvironmentVariableIsSet(kEveryPiece);
    for (qsizetype sound = 0; sound < all.size(); ++sound) {
        if (!everyPiece) {
            QTest::newRow(all.at(sound).name.constData()) << sound << qsizetype(0);
            continue;
        }
        for (const qsizetype piece : kPieces) {
            QTest::addRow("%s in pieces of %d", all.at(sound).name.constData(), int(piece)) << sound << piece;
        }
    }
}

void TestPlaitFraming::anAnswerThatIsCutNeverBecomesAnotherFile()
{
    QFETCH(const qsizetype, sound);
    QFETCH(const qsizetype, piece);
    const auto pieceOf = [=](qsizetype cut) {
        return piece > 0 ? piece : kPieces[cut % qsizetype(std::size(kPieces))];
    };
    const QStringList wrong = FramingRuns::runCuts(soundAnswers().at(sound), pieceOf);
    QVERIFY2(wrong.isEmpty(), qPrintable(wrong.join(u'\n')));
}

QTEST_GUILESS_MAIN(TestPlaitFraming)
#include "tst_plait_framing.moc"
