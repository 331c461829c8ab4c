#!/usr/bin/python3
"""How long one call of a client takes that asks for one value, or for a thousand, in a Python program: the package ac500
beside pymodbus, each against its own server on this machine (bench_server).

  client_calls.py ac500 ADDRESS SYMBOLS DRIVER VALUES CALLS
  client_calls.py pymodbus PORT VALUES CALLS

The values are 16-bit words that lie one behind the other. Prints the microseconds of each call, a line each.
"""
import sys
import time

WORDS_OF_ONE_REQUEST = 125


def measure(call, calls):
    call()  # the first one connects
    for _ in range(calls):
        begin = time.perf_counter()
        call()
        print(f"{1e6 * (time.perf_counter() - begin):.1f}")


def measure_ac500(address, symbols, driver, values, calls):
    import ac500

    names = [f"Main.v{number}" for number in range(values)]
    with ac500.connect(address, symbols, driver=driver) as plc:
        measure(lambda: plc.read_many(names), calls)


def measure_pymodbus(port, values, calls):
    from pymodbus.client import ModbusTcpClient

    client = ModbusTcpClient("127.0.0.1", port=port)
    if not client.connect():
        sys.exit("client_calls.py: no connection")

    def call():
        words = []
        for first in range(0, values, WORDS_OF_ONE_REQUEST):
            count = min(WORDS_OF_ONE_REQUEST, values - first)
            reply = client.read_holding_registers(first, count, slave=1)
            if reply.isError():
                sys.exit(f"client_calls.py: {reply}")
            words += reply.registers
        return words

    measure(call, calls)
    client.close()


*arguments, values, calls = sys.argv[1:]
if arguments[0] == "ac500":
    measure_ac500(*arguments[1:], int(values), int(calls))
else:
    measure_pymodbus(int(arguments[1]), int(values), int(calls))
