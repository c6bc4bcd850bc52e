#include "service/server/bad_requests.h"

namespace keepsafe_test {

namespace {

std::string post(const std::string& headers, const std::string& body)
{
    return "POST /x HTTP/1.1\r\nHost: x\r\n" + headers + "\r\n" + body;
}
std::string chunked(const std::string& body) { return post("Transfer-Encoding: chunked\r\n", body); }
const char NOT_HTTP[] = "\"not a request that HTTP allows\"";
const char TWICE[] = "\"the request says more than once how long its body is\"";
const char NO_NUMBER[] = "\"the header Content-Length is not a number\"";
const char NOT_CHUNKED[] = "\"the header Transfer-Encoding is not \\\"chunked\\\"\"";
const char ENDS_BADLY[] = "\"the request's body does not end well\"";
const char NO_BODY[] = "\"a request of this method has no body\"";

std::string get(const std::string& headers) { return "GET /x HTTP/1.1\r\n" + headers + "\r\n"; }

} // namespace

std::vector<BadRequest> badRequests()
{
    return {
        // Lines
        {"NoHttp", "hello\r\n\r\n", 400, NOT_HTTP},
        {"BlankLineBefore", "\r\nGET /x HTTP/1.1\r\nHost: x\r\n\r\n", 400, NOT_HTTP},
        {"UnknownMethod", "BREW /x HTTP/1.1\r\nHost: x\r\n\r\n", 400, NOT_HTTP},
        {"LowerCaseMethod", "get /x HTTP/1.1\r\nHost: x\r\n\r\n", 400, NOT_HTTP},
        {"Preface", "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n", 400, NOT_HTTP},
        {"Version09", "GET /x\r\n\r\n", 400, NOT_HTTP},
        {"Version12", "GET /x HTTP/1.2\r\nHost: x\r\n\r\n", 400, NOT_HTTP},
        {"Version3", "GET /x HTTP/3.0\r\nHost: x\r\n\r\n", 400, NOT_HTTP},
        {"VersionOfTwoDigits", "GET /x HTTP/1.10\r\nHost: x\r\n\r\n", 400, NOT_HTTP},
        {"LowerCaseVersion", "GET /x http/1.1\r\nHost: x\r\n\r\n", 400, NOT_HTTP},
        {"TwoBlanks", "GET  /x HTTP/1.1\r\nHost: x\r\n\r\n", 400, NOT_HTTP},
        {"TabForBlank", "GET\t/x HTTP/1.1\r\nHost: x\r\n\r\n", 400, NOT_HTTP},
        {"BlankInTarget", "GET /x y HTTP/1.1\r\nHost: x\r\n\r\n", 400, NOT_HTTP},
        {"TwoQuestionMarks", "GET /x?a?b HTTP/1.1\r\nHost: x\r\n\r\n", 400, NOT_HTTP},
        {"ZeroByteInTarget", std::string("GET /a\0b HTTP/1.1\r\nHost: x\r\n\r\n", 30), 400, NOT_HTTP},
        {"WholeUri", "GET https://x/y HTTP/1.1\r\nHost: x\r\n\r\n", 400, NOT_HTTP},
        {"Authority", "CONNECT x:443 HTTP/1.1\r\nHost: x\r\n\r\n", 400, NOT_HTTP},
        {"Asterisk", "OPTIONS * HTTP/1.1\r\nHost: x\r\n\r\n", 400, NOT_HTTP},
        {"LongTarget", "GET /" + std::string(9000, 'a') + " HTTP/1.1\r\nHost: x\r\n\r\n", 414,
         "\"the request's target is too long\""},
        {"LongMethod", std::string(9000, 'A'), 414, "\"the request's target is too long\""},
        {"BareLineFeed", "GET /x HTTP/1.1\nHost: x\n\n", 400, NOT_HTTP},
        {"BareLineFeedInHeaders", get("Host: x\nA: b\r\n"), 400, NOT_HTTP},
        {"BareLineFeedAtTheEnd", "GET /x HTTP/1.1\r\nHost: x\r\n\n", 400, NOT_HTTP},
        {"BareReturn", "GET /x HTTP/1.1\rHost: x\r\n\r\n", 400, NOT_HTTP},
        {"BareReturnInHeader", get("Host: x\r\nA: b\rc\r\n"), 400, NOT_HTTP},
        // Headers
        {"NoHost", get(""), 400, NOT_HTTP},
        {"EmptyHost", get("Host:\r\n"), 400, NOT_HTTP},
        {"TwoHosts", get("Host: x\r\nHost: x\r\n"), 400, NOT_HTTP},
        {"TwoHostsOf10", "GET /x HTTP/1.0\r\nHost: x\r\nHost: y\r\n\r\n", 400, NOT_HTTP},
        {"HostWithPath", get("Host: x/y\r\n"), 400, NOT_HTTP},
        {"HostList", get("Host: x, y\r\n"), 400, NOT_HTTP},
        {"BlankBeforeColon", post("Content-Length : 1\r\n", "a"), 400, NOT_HTTP},
        {"TabBeforeColon", post("Content-Length\t: 1\r\n", "a"), 400, NOT_HTTP},
        {"NoColon", get("Host: x\r\nA\r\n"), 400, NOT_HTTP},
        {"NoName", get("Host: x\r\n: a\r\n"), 400, NOT_HTTP},
        {"BlankBeforeTheFirst", "GET /x HTTP/1.1\r\n Host: x\r\n\r\n", 400, NOT_HTTP},
        {"Folded", post("Content-Length:\r\n 1\r\n", "a"), 400, NOT_HTTP},
        {"FoldedByTab", get("Host: x\r\nA: b\r\n\tc\r\n"), 400, NOT_HTTP},
        {"FoldOfBlanks", get("Host: x\r\nA: b\r\n \r\n"), 400, NOT_HTTP},
        {"ZeroByteInValue", get(std::string("Host: x\r\nA: b\0c\r\n", 17)), 400, NOT_HTTP},
        {"ZeroByteInName", get(std::string("Host: x\r\nA\0: b\r\n", 16)), 400, NOT_HTTP},
        {"ControlByteInValue", get("Host: x\r\nA: b\x01\r\n"), 400, NOT_HTTP},
        {"NameAboveAscii", get("Host: x\r\n\xC3\xA4: b\r\n"), 400, NOT_HTTP},
        {"BadConnection", get("Host: x\r\nConnection: a b\r\n"), 400, NOT_HTTP},
        {"LongHeader", get("Host: x\r\nA: " + std::string(40000, 'a') + "\r\n"), 431,
         "\"the request's header is too long\""},
        {"HeaderWithoutEnd", "GET /x HTTP/1.1\r\nA: " + std::string(40000, 'a'), 431,
         "\"the request's header is too long\""},
        // Lengths
        {"TwoLengths", post("Content-Length: 1\r\nContent-Length: 2\r\n", "ab"), 400, TWICE},
        {"TwoEqualLengths", post("Content-Length: 1\r\nContent-Length: 1\r\n", "a"), 400, TWICE},
        {"ListOfLengths", post("Content-Length: 1, 1\r\n", "a"), 400, NO_NUMBER},
        {"LengthAndChunks", post("Content-Length: 1\r\nTransfer-Encoding: chunked\r\n", "0\r\n\r\n"), 400,
         TWICE},
        {"ChunksAndLength", post("Transfer-Encoding: chunked\r\nContent-Length: 1\r\n", "0\r\n\r\n"), 400,
         TWICE},
        {"TwoCodings", post("Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n", "0\r\n\r\n"), 400,
         TWICE},
        {"OtherCoding", post("Transfer-Encoding: gzip, chunked\r\n", "0\r\n\r\n"), 400, NOT_CHUNKED},
        {"ChunkedAndOther", post("Transfer-Encoding: chunked, gzip\r\n", "0\r\n\r\n"), 400, NOT_CHUNKED},
        {"ChunkedTwice", post("Transfer-Encoding: chunked, chunked\r\n", "0\r\n\r\n"), 400, NOT_CHUNKED},
        {"Identity", post("Transfer-Encoding: identity\r\n", ""), 400, NOT_CHUNKED},
        {"EscapedCoding", post("Transfer-Encoding: %63hunked\r\n", "0\r\n\r\n"), 400, NOT_CHUNKED},
        {"QuotedCoding", post("Transfer-Encoding: \"chunked\"\r\n", "0\r\n\r\n"), 400, NOT_CHUNKED},
        {"CodingWithParameter", post("Transfer-Encoding: chunked;q=1\r\n", "0\r\n\r\n"), 400, NOT_CHUNKED},
        {"UpperCaseCoding", post("Transfer-Encoding: Chunked\r\n", "0\r\n\r\n"), 400, NOT_CHUNKED},
        {"EmptyCoding", post("Transfer-Encoding:\r\n", "0\r\n\r\n"), 400, NOT_CHUNKED},
        {"ChunksOf10", "POST /x HTTP/1.0\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", 400, NOT_CHUNKED},
        {"LengthIsNoNumber", post("Content-Length: 1a\r\n", "a"), 400, NO_NUMBER},
        {"NegativeLength", post("Content-Length: -1\r\n", "a"), 400, NO_NUMBER},
        {"LengthWithPlus", post("Content-Length: +1\r\n", "a"), 400, NO_NUMBER},
        {"HexadecimalLength", post("Content-Length: 0x1\r\n", "a"), 400, NO_NUMBER},
        {"EmptyLength", post("Content-Length:\r\n", "a"), 400, NO_NUMBER},
        {"LengthAbove64Bits", post("Content-Length: 18446744073709551617\r\n", "a"), 400, NO_NUMBER},
        {"BodyOfGet", "GET /x HTTP/1.1\r\nHost: x\r\nContent-Length: 33\r\n\r\n", 400, NO_BODY},
        {"BodyOfHead", "HEAD /x HTTP/1.1\r\nHost: x\r\nContent-Length: 33\r\n\r\n", 400, NO_BODY},
        {"ChunksOfGet", get("Host: x\r\nTransfer-Encoding: chunked\r\n") + "0\r\n\r\n", 400, NO_BODY},
        {"CompressedBody", post("Content-Encoding: gzip\r\nContent-Length: 1\r\n", "a"), 415,
         "\"the header Content-Encoding is not supported\""},
        {"TooLong", post("Content-Length: 1001\r\n", ""), 413, "\"the request's body is too long\""},
        // Chunks
        {"NoSize", chunked("zz\r\n\r\n"), 400, ENDS_BADLY},
        {"EmptySize", chunked("\r\na\r\n0\r\n\r\n"), 400, ENDS_BADLY},
        {"NegativeSize", chunked("-1\r\na\r\n0\r\n\r\n"), 400, ENDS_BADLY},
        {"PrefixedSize", chunked("0x1\r\na\r\n0\r\n\r\n"), 400, ENDS_BADLY},
        {"BlankBeforeSize", chunked(" 1\r\na\r\n0\r\n\r\n"), 400, ENDS_BADLY},
        {"BlankBehindSize", chunked("1 \r\na\r\n0\r\n\r\n"), 400, ENDS_BADLY},
        {"SizeAbove64Bits", chunked("10000000000000001\r\na\r\n0\r\n\r\n"), 400, ENDS_BADLY},
        {"HugeSize", chunked("ffffffffffffffff\r\na\r\n0\r\n\r\n"), 413,
         "\"the request's body is too long\""},
        {"MoreThanItsSize", chunked("1\r\nab\r\n0\r\n\r\n"), 400, ENDS_BADLY},
        {"BareLineFeedBehindSize", chunked("1\na\r\n0\r\n\r\n"), 400, ENDS_BADLY},
        {"BareLineFeedBehindData", chunked("1\r\na\n0\r\n\r\n"), 400, ENDS_BADLY},
        {"BadExtension", chunked("1;=\r\na\r\n0\r\n\r\n"), 400, ENDS_BADLY},
        {"LongExtension", chunked("1;a=" + std::string(5000, 'b') + "\r\na\r\n0\r\n\r\n"), 400, ENDS_BADLY},
        {"LongTrailer", chunked("0\r\nA: " + std::string(5000, 'b') + "\r\n"), 400, ENDS_BADLY},
        {"BadTrailer", chunked("0\r\nA : b\r\n\r\n"), 400, ENDS_BADLY},
        {"LengthInTrailer", chunked("0\r\nContent-Length: 1\r\n\r\n"), 400, ENDS_BADLY},
        {"TooLongTogether", chunked("3E8\r\n" + std::string(1000, 'a') + "\r\n1\r\na\r\n0\r\n\r\n"), 413,
         "\"the request's body is too long\""}};
}

} // namespace keepsafe_test
