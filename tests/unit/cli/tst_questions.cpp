// SPDX-License-Identifier: MIT
#include <cli/printer.h>
#include <cli/questions.h>

#include <QTest>

#include <memory>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

/// Keeps what a person would see.
class Screen : public Printer
{
public:
    void begin(qint64, const QUrl &) override {}
    void progress(const Overview &) override {}
    void warn(qint64, const QString &) override {}
    void queried(qint64, const QueryResult &) override {}
    void planned(qint64, const FetchPlan &) override {}
    void end(qint64, const Summary &) override {}
    void leave(qsizetype) override {}
    void note(const QString &text) override { notes.append(text); }
    void setTyping(bool typing) override { isTyping = typing; }

    QStringList notes;
    bool isTyping = false;
};

const QStringList kChoices{u"leave"_s, u"rename"_s, u"replace"_s};

}

class TestQuestions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void anAnswerIsTheBeginningOfAChoice_data();
    void anAnswerIsTheBeginningOfAChoice();
    void whatIsNoChoiceIsAskedAgain_data();
    void whatIsNoChoiceIsAskedAgain();
    void anAnswerMayComeInPieces();
    void oneQuestionIsAskedAfterTheOther();
    void whatWasTypedBeforeIsNoAnswer_data();
    void whatWasTypedBeforeIsNoAnswer();
    void aQuestionThatAnAnswerLeadsToIsPutOnce();
    void nothingMovesWhileAPersonTypes();
    void whatIsWithdrawnIsNotAnswered();
    void theNextQuestionComesWhereTheFirstIsWithdrawn();
    void whereNobodyCanAnswerNoChoiceIsMade();

private:
    void ask(qint64 id)
    {
        m_questions->ask(id, u"What about %1?"_s.arg(id), kChoices, [this, id](int choice) {
            m_answers.append({id, choice});
        });
    }
    void type(const QByteArray &text) { QCOMPARE(::write(m_ends[1], text.constData(), text.size()), text.size()); }

    using Answers = QList<QPair<qint64, int>>;

    int m_ends[2] = {-1, -1};
    std::unique_ptr<Screen> m_screen;
    std::unique_ptr<Questions> m_questions;
    Answers m_answers;
};

void TestQuestions::init()
{
    QCOMPARE(::pipe(m_ends), 0);
    m_screen = std::make_unique<Screen>();
    m_questions = std::make_unique<Questions>(*m_screen, m_ends[0]);
    m_answers.clear();
}

void TestQuestions::cleanup()
{
    m_questions.reset();
    for (const int end : m_ends)
        ::close(end);
}

void TestQuestions::anAnswerIsTheBeginningOfAChoice_data()
{
    QTest::addColumn<QByteArray>("typed");
    QTest::addColumn<int>("choice");
    QTest::newRow("a letter") << QByteArray("l\n") << 0;
    QTest::newRow("enough of a word") << QByteArray("rep\n") << 2;
    QTest::newRow("a whole word") << QByteArray("rename\n") << 1;
    QTest::newRow("capitals and blanks") << QByteArray("  ReN \n") << 1;
    QTest::newRow("nothing") << QByteArray("\n") << 0;
}

void TestQuestions::anAnswerIsTheBeginningOfAChoice()
{
    QFETCH(QByteArray, typed);
    QFETCH(int, choice);
    ask(7);
    QCOMPARE(m_screen->notes, QStringList{u"What about 7? [leave/rename/replace]"_s});
    type(typed);
    QTRY_COMPARE(m_answers, (Answers{{7, choice}}));
}

void TestQuestions::whatIsNoChoiceIsAskedAgain_data()
{
    QTest::addColumn<QByteArray>("typed");
    QTest::newRow("none of them") << QByteArray("yes\n");
    QTest::newRow("several of them") << QByteArray("re\n");
}

void TestQuestions::whatIsNoChoiceIsAskedAgain()
{
    QFETCH(QByteArray, typed);
    ask(7);
    type(typed);
    QTRY_COMPARE(m_screen->notes.size(), 2);
    QCOMPARE(m_screen->notes.at(1), m_screen->notes.at(0));
    QVERIFY(m_answers.isEmpty());
    type("rep\n");
    QTRY_COMPARE(m_answers, (Answers{{7, 2}}));
}

void TestQuestions::anAnswerMayComeInPieces()
{
    ask(7);
    type("re");
    QCoreApplication::processEvents();
    QVERIFY(m_answers.isEmpty());
    type("n\n");
    QTRY_COMPARE(m_answers, (Answers{{7, 1}}));
}

void TestQuestions::oneQuestionIsAskedAfterTheOther()
{
    ask(7);
    ask(8);
    QCOMPARE(m_screen->notes.size(), 1);
    type("rep\n");
    QTRY_COMPARE(m_screen->notes.size(), 2);
    QVERIFY(m_screen->notes.at(1).startsWith(u"What about 8?"_s));
    type("l\n");
    QTRY_COMPARE(m_answers, (Answers{{7, 2}, {8, 0}}));
}

void TestQuestions::whatWasTypedBeforeIsNoAnswer_data()
{
    QTest::addColumn<QByteArray>("early");
    QTest::addColumn<Answers>("answers");
    QTest::newRow("more lines than questions") << QByteArray("l\nl\nl\n") << Answers{{7, 0}};
    QTest::newRow("half a line more") << QByteArray("l\nren") << Answers{{7, 0}};
    QTest::newRow("a wrong one first") << QByteArray("no\nl\n") << Answers();
}

/// The second may be about something that nobody would say yes to.
void TestQuestions::whatWasTypedBeforeIsNoAnswer()
{
    QFETCH(QByteArray, early);
    QFETCH(Answers, answers);
    ask(7);
    ask(8);
    type(early);
    QTRY_COMPARE(m_screen->notes.size(), 2);
    QCOMPARE(m_answers, answers);
    type("rep\n");
    QTRY_COMPARE(m_answers.size(), answers.size() + 1);
    QCOMPARE(m_answers.constLast().second, 2);
}

void TestQuestions::aQuestionThatAnAnswerLeadsToIsPutOnce()
{
    m_questions->ask(7, u"What about 7?"_s, kChoices, [this](int choice) {
        m_answers.append({7, choice});
        ask(8);
    });
    type("l\n");
    QTRY_COMPARE(m_screen->notes.size(), 2);
    QVERIFY(m_screen->isTyping);
    type("rep\n");
    QTRY_COMPARE(m_answers, (Answers{{7, 0}, {8, 2}}));
    QCOMPARE(m_screen->notes.size(), 2);
}

void TestQuestions::nothingMovesWhileAPersonTypes()
{
    QVERIFY(!m_screen->isTyping);
    ask(7);
    QVERIFY(m_screen->isTyping);
    type("l\n");
    QTRY_VERIFY(!m_answers.isEmpty());
    QVERIFY(!m_screen->isTyping);
}

void TestQuestions::whatIsWithdrawnIsNotAnswered()
{
    ask(7);
    m_questions->withdraw(7);
    QVERIFY(!m_screen->isTyping);
    ask(8);
    type("rep\n");
    QTRY_COMPARE(m_answers, (Answers{{8, 2}}));
}

void TestQuestions::theNextQuestionComesWhereTheFirstIsWithdrawn()
{
    ask(7);
    ask(8);
    ask(9);
    m_questions->withdraw(8);
    QCOMPARE(m_screen->notes.size(), 1);
    m_questions->withdraw(7);
    QCOMPARE(m_screen->notes.size(), 2);
    QVERIFY(m_screen->notes.at(1).startsWith(u"What about 9?"_s));
    QVERIFY(m_screen->isTyping);
}

/// It is the one that changes nothing.
void TestQuestions::whereNobodyCanAnswerNoChoiceIsMade()
{
    ask(7);
    ask(8);
    ::close(m_ends[1]);
    m_ends[1] = ::dup(m_ends[0]);
    QTRY_COMPARE(m_answers, (Answers{{7, Questions::kNobody}, {8, Questions::kNobody}}));
    QVERIFY(!m_screen->isTyping);
}

QTEST_GUILESS_MAIN(TestQuestions)
#include "tst_questions.moc"
