// A plug-in with a static receiver is loaded and unloaded while the host runs.
#include "DispatcherParts.h"
#include "Receivers.h"

#include <kiv/dispatcher/ICBKivReady.h>

#include <dlfcn.h>

namespace {

class Plugin : public testing::Test {
protected:
    Plugin() { load(); }
    ~Plugin() override { unload(); }
    void SetUp() override { ASSERT_NE(plugin, nullptr) << ::dlerror(); }

    void load() { plugin = ::dlopen(KIV_TEST_PLUGIN, RTLD_NOW | RTLD_LOCAL); }
    void unload()
    {
        if (plugin != nullptr) {
            EXPECT_EQ(::dlclose(plugin), 0) << ::dlerror();
        }
        plugin = nullptr;
    }
    static bool isLoaded()
    {
        void* const again = ::dlopen(KIV_TEST_PLUGIN, RTLD_NOW | RTLD_NOLOAD);
        if (again != nullptr)
            ::dlclose(again);
        return again != nullptr;
    }

    void notifyPlugin(int result)
    {
        const auto receiver = reinterpret_cast<ICBKivReady* (*)()>(::dlsym(plugin, "pluginsReceiver"));
        dispatcher.addAsyncReadyNotify(result, receiver(), &told, nullptr);
    }

    const int receivers = registeredReceivers();
    OpenDispatcher dispatcher;
    void* plugin = nullptr;
    int told = 0;
};

TEST_F(Plugin, RegistersItsReceiverWhileItIsLoaded)
{
    EXPECT_EQ(registeredReceivers(), receivers + 1);
    unload();
    EXPECT_EQ(registeredReceivers(), receivers);
    EXPECT_FALSE(isLoaded());
}

TEST_F(Plugin, IsTold)
{
    notifyPlugin(7);
    dispatcher.dispatch(0.0);
    EXPECT_EQ(told, 7);
}

TEST_F(Plugin, ThatIsUnloadedIsToldNothing)
{
    notifyPlugin(7);
    unload();
    ASSERT_FALSE(isLoaded());
    dispatcher.dispatch(0.0);
    EXPECT_EQ(told, 0);
}

TEST_F(Plugin, ThatIsLoadedAgainIsToldAgain)
{
    unload();
    load();
    notifyPlugin(8);
    dispatcher.dispatch(0.0);
    EXPECT_EQ(told, 8);
}

TEST_F(Plugin, CreatesNoDispatcherWhenItIsUnloadedAfterTheDispatcher)
{
    delete itcDispatcher::instance();
    unload();
    EXPECT_EQ(OpenDispatcher::_instance, nullptr);
}

} // namespace
