#include "support/HttpsServer.h"

namespace keepsafe_test {

Play bytes(const std::string& text)
{
    return [text](ServerConnection& connection, const RecordedRequest&) { connection.send(text); };
}

Play answer(int status, const std::string& body, const std::string& moreHeaders)
{
    return bytes("HTTP/1.1 " + std::to_string(status) + " Reason\r\nContent-Type: application/json\r\n" +
                 moreHeaders + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
}

Play bytesThenClose(const std::string& text)
{
    return [text](ServerConnection& connection, const RecordedRequest&) {
        connection.send(text);
        connection.close();
    };
}

Play bytesThenBreakOff(const std::string& text)
{
    return [text](ServerConnection& connection, const RecordedRequest&) {
        connection.send(text);
        connection.breakOff();
    };
}

Play bytesThenReset(const std::string& text)
{
    return [text](ServerConnection& connection, const RecordedRequest&) {
        connection.send(text);
        connection.reset();
    };
}

Play endless(const std::string& before, const std::string& piece, std::chrono::milliseconds pause)
{
    return [before, piece, pause](ServerConnection& connection, const RecordedRequest&) {
        bool open = connection.send(before);
        while (open) {
            open = connection.send(piece) && (pause.count() == 0 || connection.pause(pause));
        }
        connection.breakOff();
    };
}

Play silence()
{
    return [](ServerConnection& connection, const RecordedRequest&) {
        while (connection.pause(std::chrono::hours(1))) {
        }
        connection.breakOff();
    };
}

} // namespace keepsafe_test
