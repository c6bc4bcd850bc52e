#ifndef KEEPSAFE_TESTS_FAULTS_MASTERSERVER_H
#define KEEPSAFE_TESTS_FAULTS_MASTERSERVER_H

#include <optional>

#include "support/Descriptor.h"
#include "support/MasterServerRoot.h"
#include "support/Process.h"

namespace keepsafe_test {

/// A master server in a process of its own, which no fault reaches, and the installation root of its clients.
class MasterServer {
public:
    /// `play` answers every request.
    explicit MasterServer(const Play& play);

private:
    void serve(const Play& play, const Pipe& ready) const;

    MasterServerRoot root_;
    const HttpsServer::Settings settings_ = root_.settings();
    std::optional<Process> process_;
};

} // namespace keepsafe_test

#endif
