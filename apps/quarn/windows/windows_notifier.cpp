// Windows has no service manager of this kind, so there is nobody to notify.
#include "quarn/service_notifier.h"

namespace quarnex::tool {

ServiceNotifier::ServiceNotifier() = default;
ServiceNotifier::~ServiceNotifier() = default;
void ServiceNotifier::update(const std::string& /*sentence*/) {}
void ServiceNotifier::stopping() const {}

}  // namespace quarnex::tool
