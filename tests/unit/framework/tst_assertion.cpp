// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/assertion.h>
#include <inet/qt/download/framework/qtappdefaultlogger.h>

#include <QRegularExpression>
#include <QTest>

#include <csignal>

#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

/// How a copy of this process ends, of which that is the work.
template<typename Work>
int statusOfCopy(Work work)
{
    const pid_t copy = ::fork();
    if (copy == 0) {
        std::signal(SIGABRT, SIG_DFL);
        ::close(STDOUT_FILENO);
        ::close(STDERR_FILENO);
        work();
        ::_exit(0);
    }
    int status = -1;
    ::waitpid(copy, &status, 0);
    return status;
}

}

class TestAssertion : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void whatHoldsIsNotLogged();
    void aFailureIsLoggedWithItsPlace();
    void aFailureEndsATestProgram();
    void aReportEndsNothing();

private:
    QStringList m_lines;
};

void TestAssertion::init()
{
    m_lines.clear();
    QtAppDefaultLogger::instance()->setVerbosityLevel(1);
    QtAppDefaultLogger::instance()->setSink([this](int, const QString &line) { m_lines.append(line); });
}

void TestAssertion::cleanup()
{
    QtAppDefaultLogger::instance()->setSink({});
    QtAppDefaultLogger::instance()->setVerbosityLevel(0);
    qputenv(Assertion::kFatalVariable, "1"_ba);
}

void TestAssertion::whatHoldsIsNotLogged()
{
    int evaluations = 0;
    DOWNLOAD_ASSERT(++evaluations == 1);
    QCOMPARE(evaluations, 1);
    QVERIFY(m_lines.isEmpty());
}

void TestAssertion::aFailureIsLoggedWithItsPlace()
{
    qputenv(Assertion::kFatalVariable, "0"_ba);
    DOWNLOAD_ASSERT(m_lines.size() == 7);
    QCOMPARE(m_lines.size(), 1);
    static const QRegularExpression form(
        u"^ASSERTION FAILED: m_lines\\.size\\(\\) == 7, tests/unit/framework/tst_assertion\\.cpp,\\d+$"_s);
    QVERIFY2(form.match(m_lines.first()).hasMatch(), qPrintable(m_lines.first()));
}

void TestAssertion::aFailureEndsATestProgram()
{
    const int status = statusOfCopy([] { DOWNLOAD_ASSERT(1 == 2); });
    QVERIFY(WIFSIGNALED(status));
    QCOMPARE(WTERMSIG(status), SIGABRT);
}

void TestAssertion::aReportEndsNothing()
{
    Assertion::report("jar takes cookie");
    QCOMPARE(m_lines.size(), 1);
    QVERIFY(m_lines.first().startsWith("ASSERTION FAILED: jar takes cookie, tests/unit/"_L1));
}

QTEST_GUILESS_MAIN(TestAssertion)
#include "tst_assertion.moc"
