#include "state/notify.h"

namespace torval {

NotificationSink notification_sink;

}  // namespace torval
