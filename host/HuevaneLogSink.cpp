#include "HuevaneLogSink.h"

#include <android/log.h>

namespace {

HuevaneLogSink gSink = nullptr;

bool deliver(int priority, const char* tag, const char* message) {
    if (gSink == nullptr) return true;
    return gSink({priority, tag != nullptr ? tag : "", message != nullptr ? message : ""});
}

// Debian 12's liblog still has the pre-release logger form (data and message apart); Android 11
// and later pass one message record.
#if HUEVANE_LIBLOG_LOGGER_DATA
void logger(const struct __android_logger_data* data, const char* message) {
    if (deliver(data->priority, data->tag, message)) __android_log_stderr_logger(data, message);
}
#else
void logger(const struct __android_log_message* message) {
    if (deliver(message->priority, message->tag, message->message)) {
        __android_log_stderr_logger(message);
    }
}
#endif

}  // namespace

void setHuevaneLogSink(HuevaneLogSink sink) {
    gSink = sink;
    __android_log_set_logger(sink != nullptr ? logger : __android_log_stderr_logger);
}
