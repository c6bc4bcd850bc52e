#include <cstddef>
#include <cstdint>
#include <string>

#include <keepsafe/platform/uri/percent_encode.h>

#include "require.h"

namespace {

void checkDecoding(const std::string& in)
{
    std::string out = "as it was";
    const int status = percentDecodeUriPart(in, out);
    require(status == 0 || status == 20, "the status of decoding is 0 or 20");
    require(status == 0 || out == "as it was", "a failure leaves the output alone");
    require(status == 0 || in.find('%') != std::string::npos, "only an escape can be malformed");
    require(status != 0 || out.size() <= in.size(), "decoding never lengthens");

    std::string same = in;
    require(percentDecodeUriPart(same, same) == status, "decoding in place has the same status");
    require(same == (status == 0 ? out : in), "decoding in place has the same result");
}

void checkRoundTrip(const std::string& in)
{
    std::string encoded;
    std::string decoded;
    require(percentEncodeUriPart(in, encoded) == 0, "encoding succeeds");
    require(encoded.find_first_not_of(
                "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~%") == std::string::npos,
            "an encoded text has unreserved characters and escapes only");
    require(percentDecodeUriPart(encoded, decoded) == 0, "an encoded text can be decoded");
    require(decoded == in, "decoding inverts encoding");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string in(data, data + size);
    checkDecoding(in);
    checkRoundTrip(in);
    return 0;
}
