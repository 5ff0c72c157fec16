#include "front/Front.h"
#include "tools/Dispatch.h"

#include <string>
#include <vector>

// One program for everything: called by the name of a tool, it is that tool's stand-in.
int main(int argc, char** argv)
{
    const std::string path = argc > 0 ? argv[0] : "hostsim";
    const std::string name = path.substr(path.rfind('/') + 1);
    const std::vector<std::string> args(argv + (argc > 0 ? 1 : 0), argv + argc);
    if (hostsim::isTool(name))
        return hostsim::runTool(name, args);
    return hostsim::runFront(args);
}
