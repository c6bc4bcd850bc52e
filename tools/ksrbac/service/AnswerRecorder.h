#ifndef KSRBAC_SERVICE_ANSWERRECORDER_H
#define KSRBAC_SERVICE_ANSWERRECORDER_H

#include <memory>
#include <string>

#include <boost/shared_ptr.hpp>

#include <keepsafe/platform/http/KSClientCURL.h>

namespace ksrbac {

/// Makes the HTTP clients of another factory, and keeps what the service says when it refuses a request: the
/// registration of objects tells that nobody, not even the log. One thread at a time.
class AnswerRecorder final : public KSClientCURL_BaseFactory {
public:
    explicit AnswerRecorder(boost::shared_ptr<KSClientCURL_BaseFactory> factory);
    ~AnswerRecorder() override;

    [[nodiscard]] KSClientCURL_Base* create(const std::string& host, int port, int clientKind) override;

    /// "HTTP status 409: the object is registered already" of the last answer, if that was an error document,
    /// its status alone if it was another refusal, and nothing when it was none or did not come.
    [[nodiscard]] std::string refusal() const;

private:
    class Client;
    boost::shared_ptr<KSClientCURL_BaseFactory> factory_;
    std::shared_ptr<std::string> refusal_;
};

} // namespace ksrbac

#endif
