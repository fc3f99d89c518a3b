// The header of the library has more fields than these programs need: only the type and the first text are used.
#include "Message.h"

#include <algorithm>
#include <functional>

itcMsgHdr headerOf(MessageKind kind, const std::string& agent)
{
    return {0, static_cast<itcMsgHdr::itcMsgType>(kind), agent.c_str(), "", 0, 0, 0, 0};
}

MessageKind kindOf(const itcMsgHdr& header) { return static_cast<MessageKind>(header.type); }

std::string agentOf(const itcMsgHdr& header)
{
    std::string name = header.text1;
    const auto isPlain = [](char c) { return c >= ' ' && c <= '~'; };
    std::replace_if(name.begin(), name.end(), std::not_fn(isPlain), '?');
    return name;
}
