// A plug-in of a host. The plug-in links the library. Its static receiver exists while the plug-in is loaded.
#include <kiv/dispatcher/ICBKivReady.h>

namespace {

class Receiver : public ICBKivReady {
public:
    void ready(int result, void* userData) override { *static_cast<int*>(userData) = result; }
} receiver;

} // namespace

extern "C" ICBKivReady* pluginsReceiver() { return &receiver; }
