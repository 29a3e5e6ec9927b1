"""client.py HOST_PROGRAM: a JSON-RPC client gets an error for each request that the host cannot read."""

import json
import subprocess
import sys
import threading

from pylsp_jsonrpc.endpoint import Endpoint
from pylsp_jsonrpc.exceptions import JsonRpcException
from pylsp_jsonrpc.streams import JsonRpcStreamReader

host = subprocess.Popen(sys.argv[1:2], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
order = ["jsonrpc", "id", "method", "params"]


def send(message):
    """Writes the members in this order, absent params as null, and U+007F as a byte that is not UTF-8."""
    message.setdefault("params")
    ordered = {key: message[key] for key in order if key in message}
    body = json.dumps(ordered).encode().replace(b"\\u007f", b"\xff")
    host.stdin.write(b"Content-Length: %d\r\n\r\n%s" % (len(body), body))
    host.stdin.flush()


endpoint = Endpoint({}, send)
threading.Thread(target=JsonRpcStreamReader(host.stdout).listen, args=[endpoint.consume], daemon=True).start()


def ask(params, method="connector/v1/ListFolder"):
    try:
        return endpoint.request(method, params).result(timeout=30)
    except JsonRpcException as error:
        return error.code


deep = []
for _ in range(200):
    deep = [deep]
for order in [order, ["jsonrpc", "method", "params", "id"]]:
    assert ask({"path": "\ud800"}) == -32700
    assert ask({"path": "\x7f"}) == -32700
    assert ask({"path": deep}) == -32700
    assert ask({"path": [1] * 100_001}) == -32700
    assert ask({"path": "x" * (64 << 20)}) == -32600
    assert ask({"path": "."})["messageFaults"] == []
    assert ask([])["messageFaults"] == ask(None)["messageFaults"] == []
assert ask(None, "shutdown") is None
endpoint.notify("exit")
assert host.wait(timeout=30) == 0
