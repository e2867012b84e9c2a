#include "snmp/master_link.h"

#include <endian.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "snmp/netsnmp.h"

// RFC 2741, 6.1: the header. A Response begins its payload with sysUpTime (4), error (2) and index (2).
constexpr int HEADER = 20, RESPONSE_HEAD = 28;
constexpr int TYPE_AT = 1, FLAGS_AT = 2, LENGTH_AT = 16, ERROR_AT = 24, INDEX_AT = 26;
constexpr uint8_t RESPONSE = 18, NETWORK_BYTE_ORDER = 0x10;
constexpr uint16_t DUPLICATE_REGISTRATION = 263, TOO_BIG = 1;
constexpr uint32_t MOST_BYTES =
    65536;  // of a message that the library's parser takes, here and in the master

static struct {
    decltype(netsnmp_transport::f_recv) receive;
    decltype(netsnmp_transport::f_send) send;
    std::array<uint8_t, RESPONSE_HEAD> head;  // of a message that has not come whole
    int held;                                 // bytes of it
    uint32_t left;                            // bytes of the present message that are still to come
    bool passes;                              // the library gets it
    bool taken;
} link_to;

static uint32_t get32(const uint8_t *message, int at) {
    uint32_t value = 0;
    memcpy(&value, message + at, sizeof value);
    return message[FLAGS_AT] & NETWORK_BYTE_ORDER ? be32toh(value) : le32toh(value);
}

static void put16(uint8_t *message, int at, uint16_t value) {
    const uint16_t ordered = message[FLAGS_AT] & NETWORK_BYTE_ORDER ? htobe16(value) : htole16(value);
    memcpy(message + at, &ordered, sizeof ordered);
}

static uint16_t get16(const uint8_t *message, int at) {
    uint16_t value = 0;
    memcpy(&value, message + at, sizeof value);
    return message[FLAGS_AT] & NETWORK_BYTE_ORDER ? be16toh(value) : le16toh(value);
}

// To the request that `message` is, or answers: both have the same numbers in the header.
static void send_too_big(netsnmp_transport *to, const uint8_t *message, void **opaque, int *length) {
    uint8_t answer[RESPONSE_HEAD] = {};
    memcpy(answer, message, LENGTH_AT);
    answer[TYPE_AT] = RESPONSE;
    const uint32_t payload = RESPONSE_HEAD - HEADER;
    const uint32_t ordered = answer[FLAGS_AT] & NETWORK_BYTE_ORDER ? htobe32(payload) : htole32(payload);
    memcpy(answer + LENGTH_AT, &ordered, sizeof ordered);
    put16(answer, ERROR_AT, TOO_BIG);
    put16(answer, INDEX_AT, 1);
    link_to.send(to, answer, sizeof answer, opaque, length);
}

static int send_message(netsnmp_transport *to, const void *message, int size, void **opaque, int *length) {
    const auto *bytes = static_cast<const uint8_t *>(message);
    if (static_cast<uint32_t>(size) <= MOST_BYTES || bytes[TYPE_AT] != RESPONSE)
        return link_to.send(to, message, size, opaque, length);
    send_too_big(to, bytes, opaque, length);
    return size;
}

// Leaves in `bytes` what the library is to get, and returns how much that is.
static int filter(netsnmp_transport *from, uint8_t *bytes, int count) {
    int at = 0, kept = 0;
    while (at < count) {
        if (link_to.left == 0) {
            const uint8_t *message = bytes + at;
            const int head = count - at > TYPE_AT && message[TYPE_AT] == RESPONSE ? RESPONSE_HEAD : HEADER;
            if (count - at < head) break;
            const uint64_t size = uint64_t{get32(message, LENGTH_AT)} + HEADER;
            link_to.passes = size <= MOST_BYTES || message[TYPE_AT] == RESPONSE || size > INT32_MAX;
            link_to.left = static_cast<uint32_t>(size);
            if (head == RESPONSE_HEAD && get16(message, ERROR_AT) == DUPLICATE_REGISTRATION)
                link_to.taken = true;
            if (!link_to.passes) send_too_big(from, message, nullptr, nullptr);
        }
        const int part =
            static_cast<int>(std::min<uint32_t>(link_to.left, static_cast<uint32_t>(count - at)));
        if (link_to.passes) {
            memmove(bytes + kept, bytes + at, static_cast<size_t>(part));
            kept += part;
        }
        at += part;
        link_to.left -= static_cast<uint32_t>(part);
    }
    link_to.held = count - at;
    memcpy(link_to.head.data(), bytes + at, static_cast<size_t>(link_to.held));
    return kept;
}

static int receive_messages(netsnmp_transport *from, void *buffer, int size, void **opaque, int *length) {
    auto *bytes = static_cast<uint8_t *>(buffer);
    const int held = link_to.held;
    const int got = link_to.receive(from, bytes + held, size - held, opaque, length);
    from->flags &= ~static_cast<unsigned>(NETSNMP_TRANSPORT_FLAG_EMPTY_PKT);
    if (got <= 0) return got;
    memcpy(bytes, link_to.head.data(), static_cast<size_t>(held));
    const int kept = filter(from, bytes, held + got);
    if (kept == 0) from->flags |= NETSNMP_TRANSPORT_FLAG_EMPTY_PKT;  // it is no end of the stream
    return kept;
}

static int begin_connection(int, int, void *session, void *) {
    netsnmp_transport *transport =
        snmp_sess_transport(snmp_sess_pointer(static_cast<netsnmp_session *>(session)));
    if (!transport || transport->f_recv == receive_messages) return SNMPERR_SUCCESS;
    link_to = {};
    link_to.receive = transport->f_recv;
    link_to.send = transport->f_send;
    transport->f_recv = receive_messages;
    transport->f_send = send_message;
    return SNMPERR_SUCCESS;
}

void watch_master() {
    snmp_register_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_START, begin_connection, nullptr);
}

bool subtree_is_taken() {
    return link_to.taken;
}
