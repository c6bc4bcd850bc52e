#include "service/AnswerRecorder.h"

#include <utility>

#include <jansson.h>

#include <keepsafe/platform/http/extract_error.h>
#include <keepsafe/platform/status/status_codes.h>

namespace ksrbac {

namespace {

namespace Status = Tessara::Keepsafe::Status;

constexpr long FIRST_ERROR_STATUS = 300;

struct JsonRelease {
    void operator()(json_t* value) const noexcept { json_decref(value); }
};

/// The document's "errorDetails" in the form in which the library logs those of other requests.
std::string detailsOf(const std::string& body)
{
    const std::unique_ptr<json_t, JsonRelease> document(json_loadb(body.data(), body.size(), 0, nullptr));
    const json_t* details = json_object_get(document.get(), "errorDetails");
    std::string text;
    for (std::size_t index = 0; index < json_array_size(details); ++index) {
        const json_t* detail = json_array_get(details, index);
        if (json_is_string(detail)) {
            text += (text.empty() ? " (" : "; ") +
                    std::string(json_string_value(detail), json_string_length(detail));
        }
    }
    return text.empty() ? "" : text + ')';
}

std::string describeRefusal(long httpStatus, const std::string& body)
{
    if (httpStatus < FIRST_ERROR_STATUS) {
        return "";
    }
    std::string text = "HTTP status " + std::to_string(httpStatus);
    int code = 0;
    std::string message;
    if (extractErrorFromJSON(body, code, message) == Status::SUCCESS) {
        const std::string details = detailsOf(body);
        const bool isRepetition = details == " (" + message + ')';
        text += ": " + message + (isRepetition ? "" : details);
    }
    return text;
}

} // namespace

class AnswerRecorder::Client final : public KSClientCURL_Base {
public:
    Client(std::unique_ptr<KSClientCURL_Base> client, std::shared_ptr<std::string> refusal)
        : client_(std::move(client)), refusal_(std::move(refusal))
    {
    }

    int Put(const std::string& path, const std::string& body) override
    {
        return noted(client_->Put(path, body));
    }
    int Post(const std::string& path, const std::string& body) override
    {
        return noted(client_->Post(path, body));
    }
    int Patch(const std::string& path, const std::string& body) override
    {
        return noted(client_->Patch(path, body));
    }
    int Get(const std::string& path) override { return noted(client_->Get(path)); }
    int Delete(const std::string& path) override { return noted(client_->Delete(path)); }
    void setApiVersion(int version) override { client_->setApiVersion(version); }
    [[nodiscard]] long httpStatus() const override { return client_->httpStatus(); }
    [[nodiscard]] const std::string& responseBody() const override { return client_->responseBody(); }

private:
    int noted(int transfer)
    {
        *refusal_ = transfer == Status::SUCCESS ? describeRefusal(httpStatus(), responseBody()) : "";
        return transfer;
    }

    std::unique_ptr<KSClientCURL_Base> client_;
    std::shared_ptr<std::string> refusal_;
};

AnswerRecorder::AnswerRecorder(boost::shared_ptr<KSClientCURL_BaseFactory> factory)
    : factory_(std::move(factory)), refusal_(std::make_shared<std::string>())
{
}

AnswerRecorder::~AnswerRecorder() = default;

KSClientCURL_Base* AnswerRecorder::create(const std::string& host, int port, int clientKind)
{
    std::unique_ptr<KSClientCURL_Base> client(factory_->create(host, port, clientKind));
    return client ? new Client(std::move(client), refusal_) : nullptr;
}

std::string AnswerRecorder::refusal() const { return *refusal_; }

} // namespace ksrbac
