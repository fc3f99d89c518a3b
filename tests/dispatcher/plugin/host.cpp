// A host that does not link the library. Loading the plug-in loads the library. Unloading the plug-in may unload
// the library.
#include <dlfcn.h>

#include <cstdio>

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    for (int time = 0; time < 3; ++time) {
        void* const plugin = ::dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
        if (plugin == nullptr || ::dlsym(plugin, "pluginsReceiver") == nullptr || ::dlclose(plugin) != 0) {
            std::fprintf(stderr, "%s\n", ::dlerror());
            return 1;
        }
    }
    return 0;
}
