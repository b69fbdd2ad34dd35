// SPDX-License-Identifier: MIT
#include <tests/faults/commandserver.h>

using namespace Qt::StringLiterals;

namespace
{

using Manner = CommandFile::Manner;

constexpr auto kGate = "patience"_L1;

/// What becomes of one file's answers. Called by the server's thread alone.
class Mood
{
public:
    Mood(const CommandFile &file, std::shared_ptr<std::atomic<bool>> isSoothed)
        : m_file(file)
        , m_isSoothed(std::move(isSoothed))
    {
    }

    ScriptedResponse answer()
    {
        const bool isWrong = !*m_isSoothed && m_answers++ < m_file.wrongAnswers;
        const bool isLater = m_file.manner == Manner::Changed && m_answers > m_file.wrongAnswers;
        ScriptedResponse response = isLater ? ScriptedResponse::file(m_file.content + 1, m_file.laterSize)
                                            : ScriptedResponse::file(m_file.content, m_file.size);
        response.bytesPerSecond = *m_isSoothed ? 0 : m_file.bytesPerSecond;
        frame(response);
        if (m_file.manner == Manner::Missing && !*m_isSoothed)
            return ScriptedResponse::error(404);
        return isWrong ? spoilt(response) : response;
    }

private:
    void frame(ScriptedResponse &response) const
    {
        const bool isWhole =
            m_file.manner == Manner::NoRanges || m_file.manner == Manner::Chunked || m_file.manner == Manner::NoLength;
        response.honoursRanges = !isWhole;
        if (m_file.manner == Manner::Chunked)
            response.framing = ScriptedResponse::Framing::Chunked;
        else if (m_file.manner == Manner::NoLength)
            response.framing = ScriptedResponse::Framing::CloseDelimited;
    }

    ScriptedResponse spoilt(ScriptedResponse response) const
    {
        switch (m_file.manner) {
        case Manner::Cut:
            response.cutAfter = m_file.size / (m_answers + 1);
            response.cut = m_answers % 2 == 0 ? ScriptedResponse::Cut::Reset : ScriptedResponse::Cut::Orderly;
            return response;
        case Manner::Busy:
            return ScriptedResponse::error(503).withHeader("Retry-After", "0");
        case Manner::Silent:
            response.headGate = kGate;
            return response;
        case Manner::Stalled:
            response.holdAfter = m_file.size / (m_answers + 2);
            response.holdGate = kGate;
            return response;
        default:
            return response;
        }
    }

    const CommandFile m_file;
    const std::shared_ptr<std::atomic<bool>> m_isSoothed;
    int m_answers = 0;
};

QString pathOf(int file, const QString &folder)
{
    return u"/%1/%2"_s.arg(folder, CommandWorld::nameOf(file));
}

}

CommandServer::CommandServer(const CommandWorld &world)
{
    for (int i = 0; i < world.files.size(); ++i) {
        const auto mood = std::make_shared<Mood>(world.files.at(i), m_isSoothed);
        const auto handler = [mood](const ScriptedRequest &) { return mood->answer(); };
        m_server.setHandler(pathOf(i, u"a"_s).toLatin1(), handler);
        m_server.setHandler(pathOf(i, u"b"_s).toLatin1(), handler);
    }
}

QUrl CommandServer::url(int file) const
{
    return m_server.url(pathOf(file, u"a"_s));
}

QUrl CommandServer::otherUrl(int file) const
{
    return m_server.url(pathOf(file, u"b"_s));
}

void CommandServer::soothe()
{
    *m_isSoothed = true;
    m_server.release(kGate);
}
