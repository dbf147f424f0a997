#pragma once

#include <memory>
#include <string_view>

namespace zelto {

class NSXPCInterface;

inline constexpr std::string_view kFileProviderServiceName = "it.pellam.Zelto.FP.Service.v1";

// The two protocols between extension and host application, as the messaging layer needs them. Exported,
// an interface dispatches incoming calls to its C++ class; as a remote interface its proxy is a
// shared_ptr to that class (`remoteObjectProxy<ZeltoFileProviderServerInterface>()`).
std::shared_ptr<NSXPCInterface> makeServerInterface();  // ZeltoFileProviderServerInterface
std::shared_ptr<NSXPCInterface> makeClientInterface();  // ZeltoFileProviderClientInterface

}  // namespace zelto
