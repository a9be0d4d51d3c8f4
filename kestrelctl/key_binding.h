// Binding a key, its container and its certificates together.
#pragma once

#include <string>

#include "platform/base/bytes.h"
#include "platform/base/home.h"
#include "platform/certs/certificate.h"
#include "platform/providers/container.h"

namespace kestrelctl {

// The container's name: --container, or the common name with a number if that is taken.
std::string ContainerName(platform::Side side, const std::string& wanted,
                          const platform::Certificate& certificate);

// Saves key and certificate as a new container and the certificate in "My" with the
// property that leads to the key. On failure the container is taken away again.
void SaveIdentity(platform::Side side, const std::string& container, const platform::AnyKey& key,
                  platform::ByteView certificate, const platform::Secret& pin);

// Adds a certificate to a system store; one that is there already is fine.
void AddToStore(platform::Side side, const char* store, platform::ByteView certificate);

}  // namespace kestrelctl
