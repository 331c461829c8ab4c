"""A PLC by way of a gateway, which is the program as it is shipped."""

import json
import os
import subprocess

import ac500
import pytest
from conftest import PACE, PLANT


@pytest.fixture
def gateway(simulator, tmp_path):
    """The path of its socket."""
    socket = tmp_path / "press.sock"
    settings = tmp_path / "press.json"
    settings.write_text(json.dumps({
        "version": 1, "plc": simulator().address, "symbols": str(PLANT), "driver": os.environ["AC500_DRIVER"],
        "cycle": 20, "tags": ["Main.counter"], "write": {"tags": ["Main.setpoint"]}, "page": False,
        "socket": {"path": str(socket), "mode": "0600"}}))
    process = subprocess.Popen([os.environ["AC500_GATEWAY"], str(settings)], stdout=subprocess.PIPE, text=True)
    assert "serving" in process.stdout.readline()
    yield socket
    process.terminate()
    assert process.wait(60) == 0
    process.stdout.close()


def test_values_are_read_and_written_without_a_symbol_file(gateway):
    with ac500.connect(f"unix:{gateway}", time_limit=5.0 * PACE) as plc:
        assert plc.read("Main.counter") == 7
        assert plc.read("Main.balance") is not None, "which the gateway does not poll"
        plc.write("Main.setpoint", 21.5)
        assert plc.read("Main.setpoint") == 21.5
        with pytest.raises(ac500.WriteError, match="it was 20 °C when you looked, it is 21.5 °C now"):
            plc.write("Main.setpoint", 22.0, expect=20.0)
        with pytest.raises(ac500.Error, match="not written through this gateway"):
            plc.write("Main.counter", 1)


def test_a_gateway_that_is_not_there_is_a_connection_error(tmp_path):
    with pytest.raises(ac500.TcpError, match="no gateway is reached at"):
        ac500.connect(f"unix:{tmp_path}/press.sock")
