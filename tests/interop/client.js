// A JSON-RPC client of third parties talks to connector-host over Content-Length framing.
// Usage: node client.js HOST_PROGRAM

import assert from "node:assert/strict";
import { spawn } from "node:child_process";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import rpc from "vscode-jsonrpc/node.js";

let order = ["jsonrpc", "id", "method", "params"];

// Writes the members in this order, absent params as null, and U+007F as a byte that is not UTF-8.
async function encode(message) {
  message.params ??= null;
  const ordered = Object.fromEntries(order.map((key) => [key, message[key]]));
  const bytes = Buffer.from(JSON.stringify(ordered));
  const at = bytes.indexOf(0x7f);
  if (at >= 0) bytes[at] = 0xff;
  return bytes;
}

const directory = fs.mkdtempSync(path.join(os.tmpdir(), "connector-interop-"));
const host = spawn(process.argv[2], [], { stdio: ["pipe", "pipe", "inherit"] });
const ended = new Promise((resolve) => host.on("exit", resolve));
const connection = rpc.createMessageConnection(
  new rpc.StreamMessageReader(host.stdout),
  new rpc.StreamMessageWriter(host.stdin, { contentTypeEncoder: { name: "utf-8", encode } }));
connection.listen();
const ask = (type, params) => connection.sendRequest("connector/v1/" + type, params);
const location = path.join(directory, "größe 漢.txt");
const contents = "ü\u0000漢".repeat(500_000);

const created = await ask("CreateFile", { uuid: "1", file: { location, contents } });
assert.deepEqual(created.messageFaults, []);
assert.equal(fs.readFileSync(location, "utf8"), contents);
const opened = await ask("OpenFile", { uuid: "2", path: location });
assert.equal(opened.file.contents, contents);

await connection.sendNotification("connector/v1/DeleteFile", { path: location });
assert.deepEqual((await ask("ListFolder", { path: directory })).folderContents, []);
await assert.rejects(ask("NoSuchMessage", {}), { code: -32601 });

const deep = JSON.parse("[".repeat(200) + "]".repeat(200));
for (order of [order, ["jsonrpc", "method", "params", "id"]]) {
  await assert.rejects(ask("OpenFile", { path: "\ud800" }), { code: -32700 });
  await assert.rejects(ask("OpenFile", { path: "\x7f" }), { code: -32700 });
  await assert.rejects(ask("OpenFile", { path: deep }), { code: -32700 });
  await assert.rejects(ask("OpenFile", { path: Array(100_001).fill(1) }), { code: -32700 });
  await assert.rejects(ask("OpenFile", { path: "x".repeat(64 << 20) }), { code: -32600 });
  assert.equal((await connection.sendRequest("connector/v1/ListFolder")).folder.isDirectory, true);
}
assert.equal(await connection.sendRequest("shutdown"), null);
await connection.sendNotification("exit");
assert.equal(await ended, 0);
fs.rmdirSync(directory);
