#pragma once

#include <nats/nats.h>

#include <memory>

#include "kova/nats/BrokerOptions.h"
#include "nats/Urls.h"

namespace kova::nats::detail {

/// Collects the options of a connection for libnats, up to the first failure. Not synchronized.
class ConnectionSetup {
public:
    ConnectionSetup();

    /// Sets an option with a function of libnats, if no function before has failed.
    template <typename Function, typename... Arguments>
    void set(Function function, Arguments... arguments) {
        if (status_ == NATS_OK) {
            status_ = function(options_.get(), arguments...);
        }
    }
    void addServers(const Urls& urls);
    void addLogin(const BrokerOptions& broker);
    void addTls(const BrokerOptions& broker, bool isRequired);
    /// Adds the time limits, and forbids libnats to connect again.
    void addBehaviour(const BrokerOptions& broker);

    /// Returns the status of the first function that failed; NATS_OK if none did.
    natsStatus status() const noexcept { return status_; }
    /// Returns whether the connection uses TLS.
    bool usesTls() const noexcept { return usesTls_; }
    /// Returns the options, which belong to this object; null if they could not be made.
    natsOptions* options() const noexcept { return options_.get(); }

private:
    struct Deleter {
        void operator()(natsOptions* options) const noexcept { natsOptions_Destroy(options); }
    };

    natsStatus status_ = NATS_OK;
    std::unique_ptr<natsOptions, Deleter> options_;
    bool usesTls_ = false;
};

}  // namespace kova::nats::detail
