/** The packets between helper and terminal, on their socket. */
#include "terminal/root/packets.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/uio.h>

namespace kt::terminal {

namespace {

constexpr std::size_t room_for_descriptors = CMSG_SPACE(sizeof(int) * most_descriptors);

bool send_message(int channel, const msghdr& message)
{
    ssize_t sent = 0;
    do {
        sent = sendmsg(channel, &message, MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return sent >= 0;
}

} // namespace

bool send_packet(int channel, packet_kind kind, int value, const std::string& text)
{
    packet_header header{kind, value};
    const std::string sent = text.substr(0, longest_packet_text);
    iovec parts[] = {{&header, sizeof header}, {const_cast<char*>(sent.data()), sent.size()}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    return send_message(channel, message);
}

bool send_descriptors(int channel, packet_kind kind, int value, std::initializer_list<int> descriptors)
{
    packet_header header{kind, value};
    const std::size_t size = sizeof(int) * descriptors.size();
    iovec part{&header, sizeof header};
    alignas(cmsghdr) char room[room_for_descriptors] = {};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = room;
    message.msg_controllen = CMSG_SPACE(size);
    cmsghdr* rights = CMSG_FIRSTHDR(&message);
    rights->cmsg_level = SOL_SOCKET;
    rights->cmsg_type = SCM_RIGHTS;
    rights->cmsg_len = CMSG_LEN(size);
    memcpy(CMSG_DATA(rights), descriptors.begin(), size);
    return send_message(channel, message);
}

bool receive_packet(int channel, packet& received)
{
    received = {};
    char text[longest_packet_text];
    iovec parts[] = {{&received.header, sizeof received.header}, {text, sizeof text}};
    alignas(cmsghdr) char room[room_for_descriptors] = {};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    message.msg_control = room;
    message.msg_controllen = sizeof room;
    ssize_t got = 0;
    do {
        got = recvmsg(channel, &message, MSG_CMSG_CLOEXEC);
    } while (got < 0 && errno == EINTR);
    if (got < static_cast<ssize_t>(sizeof received.header))
        return false;
    received.text.assign(text, static_cast<std::size_t>(got) - sizeof received.header);

    const cmsghdr* rights = CMSG_FIRSTHDR(&message);
    if (rights != nullptr && rights->cmsg_level == SOL_SOCKET && rights->cmsg_type == SCM_RIGHTS) {
        const std::size_t count = std::min((rights->cmsg_len - CMSG_LEN(0)) / sizeof(int), most_descriptors);
        std::array<int, most_descriptors> numbers{};
        memcpy(numbers.data(), CMSG_DATA(rights), sizeof(int) * count);
        for (std::size_t at = 0; at < count; ++at)
            received.descriptors[at] = descriptor(numbers[at]);
    }
    return true;
}

} // namespace kt::terminal
