// The servers of the scenarios with a network, each in a process of its own.
//
//   bench_server plc AREA_BYTES         the PLC, as little work as possible (TinyPlc)
//   bench_server libmodbus AREA_BYTES   a Modbus server over the same memory, libmodbus
//   bench_server qtmodbus AREA_BYTES    the same, Qt
//
// Listens on 127.0.0.1, prints its port, serves one client and ends with its parent or when the client goes.
#include <arpa/inet.h>
#include <modbus/modbus.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QVariant>
#include <QtNetwork/QTcpServer>
#include <QtSerialBus/QModbusDataUnitMap>
#include <QtSerialBus/QModbusTcpServer>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench/corpus.h"
#include "bench/tiny_plc.h"
#include "bench/workload.h"

namespace ac500::bench {

void require(bool done, const char* what) {
    if (!done) {
        std::fprintf(stderr, "bench_server: %s\n", what);
        std::exit(1);
    }
}

namespace {

void printPort(int port) {
    require(port > 0, "no port to listen on");
    std::printf("%d\n", port);
    std::fflush(stdout);
}

int portOf(int listener) {
    sockaddr_in address = sockaddr_in();
    socklen_t size = sizeof address;
    return getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) == 0 ? ntohs(address.sin_port) : -1;
}

int listenOnLoopback() {
    sockaddr_in address = sockaddr_in();
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    require(listener >= 0 && bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
                listen(listener, 1) == 0,
            "cannot listen on 127.0.0.1");
    return listener;
}

std::uint16_t registerValue(int number) {
    return static_cast<std::uint16_t>((static_cast<quint8>(memoryByte(2 * number)) << 8) |
                                      static_cast<quint8>(memoryByte(2 * number + 1)));
}

int servePlc(int areaBytes) {
    TinyPlc plc(areaBytes);
    const int listener = listenOnLoopback();
    printPort(portOf(listener));
    const int client = accept(listener, nullptr, nullptr);
    const int on = 1;
    require(client >= 0 && setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) == 0, "no client");
    std::array<char, 70000> buffer;
    std::size_t filled = 0;
    for (;;) {
        const ssize_t count = recv(client, buffer.data() + filled, buffer.size() - filled, 0);
        if (count <= 0) {
            return 0;
        }
        filled += static_cast<std::size_t>(count);
        const int size = TinyPlc::requestBytes(buffer.data(), static_cast<int>(filled));
        if (size == 0) {
            continue;
        }
        require(static_cast<std::size_t>(size) == filled, "the client sent more than one request");
        const std::string& reply = plc.answer(buffer.data(), size);
        require(!reply.empty(), "a request that the PLC does not know");
        require(send(client, reply.data(), reply.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(reply.size()),
                "the client does not read");
        filled = 0;
    }
}

int serveLibmodbus(int areaBytes) {
    const int registers = areaBytes / 2;
    modbus_t* context = modbus_new_tcp("127.0.0.1", 0);
    modbus_mapping_t* mapping = modbus_mapping_new(0, 0, registers, 0);
    require(context != nullptr && mapping != nullptr, "no memory for a Modbus server");
    for (int i = 0; i < registers; ++i) {
        mapping->tab_registers[i] = registerValue(i);
    }
    int listener = modbus_tcp_listen(context, 1);
    require(listener >= 0, "libmodbus cannot listen on 127.0.0.1");
    printPort(portOf(listener));
    require(modbus_tcp_accept(context, &listener) >= 0, "no client");
    std::uint8_t request[MODBUS_TCP_MAX_ADU_LENGTH];
    for (int size = 0; (size = modbus_receive(context, request)) >= 0;) {
        modbus_reply(context, request, size, mapping);
    }
    modbus_mapping_free(mapping);
    modbus_close(context);
    modbus_free(context);
    return 0;
}

int serveQtModbus(int areaBytes, int argc, char** argv) {
    QCoreApplication application(argc, argv);
    const int registers = areaBytes / 2;
    QModbusTcpServer server;
    QModbusDataUnitMap map;
    map.insert(QModbusDataUnit::HoldingRegisters,
               {QModbusDataUnit::HoldingRegisters, 0, static_cast<quint16>(registers)});
    server.setMap(map);
    for (int i = 0; i < registers; ++i) {
        server.setData(QModbusDataUnit::HoldingRegisters, static_cast<quint16>(i), registerValue(i));
    }
    server.setServerAddress(1);
    server.setConnectionParameter(QModbusDevice::NetworkAddressParameter, "127.0.0.1");
    server.setConnectionParameter(QModbusDevice::NetworkPortParameter, 0);
    require(server.connectDevice(), "Qt's Modbus server cannot listen on 127.0.0.1");
    const auto* listener = server.findChild<QTcpServer*>();
    printPort(listener != nullptr ? listener->serverPort() : -1);
    return QCoreApplication::exec();
}

int serve(const std::string& kind, int areaBytes, int argc, char** argv) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (kind == "plc") {
        return servePlc(areaBytes);
    }
    if (kind == "libmodbus") {
        return serveLibmodbus(areaBytes);
    }
    require(kind == "qtmodbus", "the first argument is plc, libmodbus or qtmodbus");
    return serveQtModbus(areaBytes, argc, argv);
}

}  // namespace

}  // namespace ac500::bench

int main(int argc, char** argv) {
    ac500::bench::require(argc == 3, "usage: bench_server plc|libmodbus|qtmodbus AREA_BYTES");
    return ac500::bench::serve(argv[1], std::atoi(argv[2]), argc, argv);
}
