// Printing and comparing, for traces and tests.   printed
#include <kiv/companion.h>

#include <iostream>
#include <sstream>

struct Alarm {
    int number = 0;
    char text[16] = "";
    std::optional<double> limit;
    KIV_FIELDS(number, text, limit)
};

int main()
{
    const std::map<int, Alarm> alarms{{4, {4, "door\n", {}}}, {7, {7, "heat", 80.5}}};
    std::ostringstream trace;
    trace << alarms.at(7) << ' ' << itcPrinted(alarms);
    std::cout << trace.str() << '\n';

    const bool isPrinted = trace.str() == R"({number: 7, text: "heat", limit: 80.5} )"
                                          R"({4: {number: 4, text: "door\x0a", limit: none}, )"
                                          R"(7: {number: 7, text: "heat", limit: 80.5}})";
    const bool isOrdered = alarms.at(4) < alarms.at(7) && alarms.at(4) != alarms.at(7);
    return isPrinted && isOrdered ? 0 : 1;
}
