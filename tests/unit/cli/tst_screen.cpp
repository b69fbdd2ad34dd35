// SPDX-License-Identifier: MIT
#include <cli/screen.h>

#include <QTest>
#include <QTextStream>

#include <array>
#include <cstdlib>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

/// Both sides of a terminal.
struct Terminal {
    Q_DISABLE_COPY_MOVE(Terminal)

    Terminal()
    {
        std::array<char, 64> name = {};
        if (grantpt(far) == 0 && unlockpt(far) == 0 && ptsname_r(far, name.data(), name.size()) == 0)
            near = open(name.data(), O_RDWR | O_NOCTTY);
    }
    ~Terminal()
    {
        close(near);
        close(far);
    }

    QByteArray shown() const
    {
        std::array<char, 256> buffer = {};
        const ssize_t count = read(far, buffer.data(), buffer.size());
        return count > 0 ? QByteArray(buffer.data(), count) : QByteArray();
    }

    const int far = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
    int near = -1;
};

}

class TestScreen : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theSizeIsAskedAnew();
    void whatHasNoSizeIsAsUsual_data();
    void whatHasNoSizeIsAsUsual();
    void onlyLiveLinesAreErasedAtOnce();
    void whatStandsIsWrittenOverAndNeverErasedFirst();
    void anotherSizeErasesWhatStands();
};

void TestScreen::theSizeIsAskedAnew()
{
    const Terminal terminal;
    QTextStream nowhere;
    const Screen screen(nowhere, terminal.near);
    for (const unsigned short columns : {132, 20}) {
        winsize size = {};
        size.ws_col = columns;
        size.ws_row = 7;
        QCOMPARE(ioctl(terminal.far, TIOCSWINSZ, &size), 0);
        QCOMPARE(screen.size().columns, int(columns));
        QCOMPARE(screen.size().rows, 7);
    }
}

void TestScreen::whatHasNoSizeIsAsUsual_data()
{
    QTest::addColumn<bool>("isTerminal");
    QTest::newRow("a terminal that does not know its size") << true;
    QTest::newRow("no terminal") << false;
}

void TestScreen::whatHasNoSizeIsAsUsual()
{
    QFETCH(bool, isTerminal);
    const Terminal terminal;
    QTextStream nowhere;
    const Screen screen(nowhere, isTerminal ? terminal.near : -1);
    QCOMPARE(screen.size().columns, 80);
    QCOMPARE(screen.size().rows, 24);
}

void TestScreen::onlyLiveLinesAreErasedAtOnce()
{
    const Terminal terminal;
    QVERIFY(terminal.near >= 0);
    QString text;
    QTextStream out(&text);
    Screen screen(out, terminal.near);
    screen.print(u"a message"_s, {});
    Screen::eraseAtOnce();
    QCOMPARE(terminal.shown(), QByteArray());
    screen.show({u"live"_s});
    Screen::eraseAtOnce();
    QCOMPARE(terminal.shown(), QByteArray("\r\033[J\033[?7h"));
    screen.show({});
    Screen::eraseAtOnce();
    QCOMPARE(terminal.shown(), QByteArray());
}

void TestScreen::whatStandsIsWrittenOverAndNeverErasedFirst()
{
    const Terminal terminal;
    QString text;
    QTextStream out(&text);
    Screen screen(out, terminal.near);
    screen.show({u"one 10%"_s, u"two"_s});
    text.clear();
    screen.show({u"one 9%"_s, u"two"_s});
    QCOMPARE(text, u"\u001b[?7lone 9%\u001b[K\r\ntwo\u001b[K\u001b[1A\r\u001b[?7h"_s);
    text.clear();
    screen.show({u"one 9%"_s, u"two"_s});
    QCOMPARE(text, QString());
}

void TestScreen::anotherSizeErasesWhatStands()
{
    const Terminal terminal;
    QString text;
    QTextStream out(&text);
    Screen screen(out, terminal.near);
    winsize size = {};
    size.ws_col = 100;
    size.ws_row = 7;
    QCOMPARE(ioctl(terminal.far, TIOCSWINSZ, &size), 0);
    screen.show({u"one"_s});
    text.clear();
    size.ws_col = 50;
    QCOMPARE(ioctl(terminal.far, TIOCSWINSZ, &size), 0);
    screen.show({u"one"_s});
    QVERIFY2(text.startsWith(u"\r\u001b[J"_s), qPrintable(text));
}

QTEST_GUILESS_MAIN(TestScreen)
#include "tst_screen.moc"
