#include "service/explain_failure.h"

#include <algorithm>

#include <keepsafe/platform/config/config.h>
#include <keepsafe/platform/config/installation.h>
#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/status_codes.h>

#include "output/escape.h"
#include "service/transfer_meaning.h"

namespace ksrbac {

namespace Platform = Tessara::Keepsafe::Platform;
namespace Status = Tessara::Keepsafe::Status;

namespace {

/// What the HTTP client logs under, and one more than the greatest code of libcurl.
constexpr char TRANSFER_TAG[] = "KSClientCURL::request";
constexpr int TRANSFER_STATUS_END = 100;

/// The longest text of the service that is shown, in bytes.
constexpr std::size_t LONGEST_DETAIL = 2000;

bool endsWith(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::string configurationFile() { return Platform::installationRoot() + "/etc/keepsafe.toml"; }

/// The text for an operator: without the words that the log puts around an HTTP status.
std::string shown(const std::string& text)
{
    for (const std::string prefix : {"Unexpected HTTP status: ", "Get access-cache return HTTP status "}) {
        if (text.compare(0, prefix.size(), prefix) == 0) {
            return "HTTP status " + escapeForMessage(text.substr(prefix.size()), LONGEST_DETAIL);
        }
    }
    const std::string hint = endsWith(text, "is not configured") ? " in " + configurationFile() : "";
    return escapeForMessage(text, LONGEST_DETAIL) + hint;
}

/// The last line of the HTTP client, or null.
const LoggedLine* transferLine(const std::vector<LoggedLine>& lines)
{
    const auto found = std::find_if(lines.rbegin(), lines.rend(),
                                    [](const LoggedLine& line) { return line.tag == TRANSFER_TAG; });
    return found == lines.rend() ? nullptr : &*found;
}

/// The first error: what follows is its consequence.
std::string detailOf(int status, const std::vector<LoggedLine>& lines)
{
    if (status == Status::CONVERSION_FAILED && Platform::loadConfig().masterServer.empty()) {
        return "no master server: \"master_server\" is not configured in " + configurationFile();
    }
    const auto error = std::find_if(lines.begin(), lines.end(), [](const LoggedLine& line) {
        return line.level >= Platform::LOG_LEVEL_ERROR;
    });
    return error == lines.end() ? "" : shown(error->text);
}

std::string withDetail(const std::string& text, const std::string& detail)
{
    return detail.empty() ? text : text + " (" + detail + ')';
}

} // namespace

std::string explainStatus(int status, const std::vector<LoggedLine>& lines)
{
    return explainStatus(status, lines, "", "");
}

std::string explainStatus(int status, const std::vector<LoggedLine>& lines, const std::string& reason,
                          const std::string& refusal)
{
    const LoggedLine* transfer = transferLine(lines);
    if (transfer != nullptr && status < TRANSFER_STATUS_END) {
        return withDetail("transfer status " + std::to_string(status) + ": " + transferMeaning(status),
                          shown(transfer->text));
    }
    std::string detail = reason;
    if (!refusal.empty()) {
        detail += (detail.empty() ? "" : "; ") + escapeForMessage(refusal, LONGEST_DETAIL);
    } else if (transfer != nullptr) {
        detail += (detail.empty() ? "" : "; ") + shown(transfer->text);
    }
    return withDetail("status " + std::to_string(status) + ": " + getECmsg(status),
                      detail.empty() ? detailOf(status, lines) : detail);
}

} // namespace ksrbac
