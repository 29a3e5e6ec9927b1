// An official client calls every tool of `connector-host mcp`, in each protocol mode that it supports.
// Usage: node clients.mjs HOST_PROGRAM sdk|client

import assert from "node:assert/strict";
import { spawn, spawnSync } from "node:child_process";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";

const [host, name] = process.argv.slice(2);
const isSdk = name === "sdk";
const { Client } = await import(isSdk ? "@modelcontextprotocol/sdk/client/index.js" : "@modelcontextprotocol/client");
const { StdioClientTransport } = await import(
  isSdk ? "@modelcontextprotocol/sdk/client/stdio.js" : "@modelcontextprotocol/client/stdio");
const STATELESS = "2026-07-28";

// The test uses one directory with `data`, which is the root, and others that no request may reach.
const base = fs.mkdtempSync(path.join(os.tmpdir(), "connector-mcp-"));
const at = (...names) => path.join(base, ...names);
const text = (result) => result.content.at(-1).text;
const SECRET = "contents that stay outside";

function makeTree() {
  for (const directory of ["data", "data-evil", "outside"]) {
    fs.rmSync(at(directory), { recursive: true, force: true });
    fs.mkdirSync(at(directory));
    fs.writeFileSync(at(directory, "secret.txt"), directory === "data" ? "inside" : SECRET);
  }
  const links = {
    absolute: at("outside"), relative: "../outside", chain: "relative", neighbour: at("data-evil"),
    file: "../outside/secret.txt", dangling: at("outside/new"), "dangling-chain": "dangling" };
  for (const [link, target] of Object.entries(links)) {
    fs.symlinkSync(target, at("data", link));
  }
}

const outside = () => ["outside", "data-evil"].map((directory) =>
  fs.readdirSync(at(directory)).map((entry) => [entry, fs.readFileSync(at(directory, entry), "utf8")]));

async function connect(mode, ...options) {
  const client = new Client({ name: "test", version: "1" }, { versionNegotiation: { mode } });
  client.errors = [];
  client.onerror = (error) => client.errors.push(error);
  client.call = (tool, args, ...rest) => client.callTool({ name: tool, arguments: args }, ...rest);
  const args = ["mcp", "--root", at("data"), ...options];
  await client.connect(new StdioClientTransport({ command: host, args, env: process.env }));
  return client;
}

async function callEveryTool(client) {
  const { tools } = await client.listTools();
  const called = new Set();
  const expectText = async (tool, args, expected, isError) => {
    called.add(tool);
    const result = await client.call(tool, args);
    assert.match(text(result), expected, tool);
    assert.equal(result.isError ?? false, isError, text(result));
    return result;
  };
  const succeed = (tool, args, expected) => expectText(tool, args, expected, false);
  const fail = (tool, args, expected) => expectText(tool, args, expected, true);

  const made = await succeed("create_file", { location: "new/a.txt", contents: "1\n" }, /\/new\/a\.txt \(2 bytes\)$/);
  assert.equal(made.structuredContent.fileInfo.location, at("data/new/a.txt"));
  await fail("create_file", { location: "new/a.txt" }, /^FILE_EXISTS: /);
  await succeed("open_file", { path: "new/a.txt" }, /^1\n$/);
  const missing = await fail("open_file", { path: "missing" }, /^FILE_NOT_FOUND: .*missing/);
  assert.equal(missing.structuredContent.messageFaults[0].faultConditions[0].faultId, "FILE_NOT_FOUND");
  await succeed("open_or_create_file", { path: "new/b.txt" }, /^$/);
  await fail("open_or_create_file", { path: "new" }, /^FILE_IO_GENERIC: /);
  await succeed("update_file", { location: "new/b.txt", contents: "/wD/", encoding: "base64" }, /\(3 bytes\)$/);
  assert.deepEqual([...fs.readFileSync(at("data/new/b.txt"))], [0xff, 0x00, 0xff]);
  const binary = await succeed("open_file", { path: "new/b.txt" }, /^\/wD\/$/);
  assert.match(binary.content[0].text, /3 bytes are not UTF-8. In base64:$/);
  await fail("update_file", { location: "missing", contents: "" }, /^FILE_NOT_FOUND: /);
  await succeed("close_file", { location: "missing" }, /missing \(missing\)$/);
  await succeed("close_file", { location: "new/b.txt", contents: "two", updateFile: true }, /\(3 bytes\)$/);
  await fail("close_file", { location: "missing", updateFile: true }, /^FILE_NOT_FOUND: /);
  fs.writeFileSync(at("data/new/forged\nc.txt"), "");
  fs.mkdirSync(at("data/new/sub"));
  const listed = await succeed("list_folder", { path: "new" },
    /^a\.txt \(2 bytes\)\nb\.txt \(3 bytes\)\nforged\\u000ac\.txt \(0 bytes\)\nsub\/$/);
  assert.equal(listed.structuredContent.folderContents.length, 4);
  await fail("list_folder", { path: "missing" }, /^FILE_NOT_FOUND: /);
  await succeed("rename_file", { originalFileInfo: "new/a.txt", newFileInfo: "new/c.txt" }, /\/new\/c\.txt \(2/);
  await fail("rename_file", { originalFileInfo: "new/a.txt", newFileInfo: "x" }, /^FILE_NOT_FOUND: /);
  await succeed("move_file", { srcPath: "new/c.txt", destPath: "new/sub" }, /\/new\/sub\/c\.txt \(2 bytes\)$/);
  await fail("move_file", { srcPath: "new/c.txt", destPath: "new/sub" }, /^FILE_NOT_FOUND: /);
  await succeed("delete_file", { path: "new" }, /\/new \(missing\)$/);
  await fail("delete_file", { path: "new" }, /^FILE_NOT_FOUND: /);
  assert.deepEqual([...called].sort(), tools.map((tool) => tool.name).sort());

  await fail("open_file", { paht: "a.txt" }, /^Unknown argument: paht$/);
  await fail("update_file", { location: "a.txt", "file.contents": "x" }, /^Unknown argument: file\.contents$/);
  await fail("list_folder", { path: null }, /^Missing argument: path$/);
  await fail("create_file", { location: "x", contents: { a: 1 } }, /^contents is not a string$/);
  await fail("create_file", { location: "x", updateIfExists: "no" }, /^updateIfExists is not a boolean$/);
  assert.equal(fs.existsSync(at("data/x")), false);
  await assert.rejects(client.call("open_flie", {}), { code: -32602, message: /Unknown tool: open_flie$/ });

  const update = tools.find((tool) => tool.name === "update_file");
  assert.deepEqual(Object.keys(update.inputSchema.properties).sort(), ["contents", "encoding", "isDirectory", "location"]);
  assert.deepEqual(update.inputSchema.required, ["location"]);
  const hints = (tool) => tools.find(({ name }) => name === tool).annotations;
  assert.deepEqual(hints("delete_file"),
    { readOnlyHint: false, destructiveHint: true, idempotentHint: false, openWorldHint: false });
  assert.deepEqual(hints("open_file"),
    { readOnlyHint: true, destructiveHint: false, idempotentHint: true, openWorldHint: false });
}

async function readLargeFiles(client) {
  fs.writeFileSync(at("data/large.txt"), "x".repeat(8_000_000));
  assert.equal(text(await client.call("open_file", { path: "large.txt" })).length, 8_000_000);
  fs.appendFileSync(at("data/large.txt"), "x".repeat(1_000_000));
  const refused = await client.call("open_file", { path: "large.txt" });
  assert.equal(refused.isError, true);
  assert.match(text(refused), /9000\d+ bytes, more than --max-reply allows: 8388608$/);
}

async function cancelWaitingRequest(client) {
  // A refused deletion is retried for about a second.
  const slow = (count) => Array.from({ length: count }, () => client.call("delete_file", { path: at("outside") }));
  const three = slow(3).map((deletion) => deletion.then(() => "deletion"));
  const read = client.call("open_file", { path: "secret.txt" }).then(() => "read");
  assert.equal(await Promise.race([...three, read]), "read");
  await Promise.all(three);

  const four = slow(4);
  const abort = new AbortController();
  const options = isSdk ? [undefined, { signal: abort.signal }] : [{ signal: abort.signal }];
  const cancelled = assert.rejects(client.call("create_file", { location: "cancelled" }, ...options));
  setTimeout(() => abort.abort(), 100);
  await cancelled;
  await Promise.all(four);
  await client.call("open_file", { path: "secret.txt" });
  assert.equal(fs.existsSync(at("data/cancelled")), false);
}

async function attack(client) {
  const before = outside();
  const directories = ["absolute", "relative", "chain", "neighbour", at("data-evil"), at("data/../outside"),
    "../outside", "./..//data-evil", "/proc/self/root" + at("outside"), "/proc/self/cwd/../outside"];
  const files = ["file", at("data/file"), ...directories.map((directory) => directory + "/secret.txt")];
  const lookalikes = [at("DATA"), at("data/\uFF0E\uFF0E/outside"), at("data/\u2024\u2024/outside"), at("da\u200Bta"),
    "%2e%2e/outside", "..\\outside"].map((directory) => directory + "/secret.txt");
  const expectRefused = async (tool, args) => {
    const result = await client.call(tool, args);
    assert.equal(result.isError, true, JSON.stringify([tool, args, result]));
    assert.doesNotMatch(JSON.stringify(result), new RegExp(SECRET));
  };
  for (const file of [...files, ...lookalikes]) {
    await expectRefused("open_file", { path: file });
    await expectRefused("update_file", { location: file, contents: "overwritten" });
  }
  for (const file of [...directories.map((directory) => directory + "/new"), "dangling", "dangling-chain"]) {
    await expectRefused("create_file", { location: file, contents: "new" });
    await expectRefused("open_or_create_file", { path: file });
  }
  for (const directory of directories) {
    await expectRefused("list_folder", { path: directory });
    await expectRefused("move_file", { srcPath: "secret.txt", destPath: directory });
  }

  // Checking a path before opening it does not help against a directory that is replaced by a link in between.
  fs.mkdirSync(at("data/swapped"));
  fs.writeFileSync(at("data/swapped/secret.txt"), "inside");
  const swap = "mv -T swapped kept && mv -T relative swapped && mv -T swapped relative && mv -T kept swapped";
  const swapper = spawn("sh", ["-c", `while ${swap}; do :; done`], { cwd: at("data") });
  const texts = new Set();
  for (let n = 0; n < 500 || !["inside", "FILE_ACCESS_DENIED"].every((seen) => texts.has(seen)); ++n) {
    texts.add(text(await client.call("open_file", { path: "swapped/secret.txt" })).split(":")[0]);
    await client.call("update_file", { location: "swapped/secret.txt", contents: "inside" });
  }
  swapper.kill();
  assert.ok(!texts.has(SECRET));
  assert.deepEqual(outside(), before);
}

async function readOnly(mode) {
  const client = await connect(mode, "--read-only");
  const { tools } = await client.listTools();
  assert.deepEqual(tools.map((tool) => [tool.name, ...Object.keys(tool.inputSchema.properties)]),
    [["close_file", "location"], ["list_folder", "path"], ["open_file", "path"]]);
  assert.ok(tools.every((tool) => tool.annotations.readOnlyHint));
  assert.equal(text(await client.call("open_file", { path: "secret.txt" })), "inside");
  await assert.rejects(client.call("update_file", { location: "secret.txt" }), { code: -32602 });
  const refused = await client.call("close_file", { location: "secret.txt", updateFile: true });
  assert.match(text(refused), /^Unknown argument: updateFile/);
  assert.equal(fs.readFileSync(at("data/secret.txt"), "utf8"), "inside");
  await client.close();
}

function exchangeRawMessages() {
  const input = (...requests) => requests.map((request) => JSON.stringify(request)).join("\n");
  const start = (args, lines) => spawnSync(host, ["mcp", ...args], { input: lines, encoding: "utf8" });
  const ask = (method, params) => {
    const { stdout } = start(["--root", base], input({ jsonrpc: "2.0", id: "a", method, params }));
    const { id, result, error } = JSON.parse(stdout);
    assert.equal(id, "a");
    return result ?? error;
  };
  const meta = (version, capabilities = {}) => ({ _meta: {
    "io.modelcontextprotocol/protocolVersion": version, "io.modelcontextprotocol/clientCapabilities": capabilities } });

  for (const version of ["2024-11-05", "2025-03-26", "2025-06-18", "2025-11-25"]) {
    assert.equal(ask("initialize", { protocolVersion: version }).protocolVersion, version);
  }
  assert.equal(ask("initialize", { protocolVersion: "2001-01-01" }).protocolVersion, "2025-11-25");
  assert.deepEqual(ask("ping"), {});
  const { resultType, ttlMs, cacheScope, tools } = ask("tools/list", meta(STATELESS));
  assert.deepEqual([resultType, ttlMs, cacheScope, tools.length], ["complete", 300000, "private", 9]);
  assert.deepEqual(ask("server/discover").supportedVersions, [STATELESS]);
  const { code, data } = ask("tools/list", meta("2025-11-25"));
  assert.deepEqual([code, data], [-32022, { supported: [STATELESS], requested: "2025-11-25" }]);
  assert.equal(ask("tools/list", meta(STATELESS, null)).code, -32602);
  for (const [method, params] of [["ping", meta(STATELESS)], ["exit"], ["shutdown"], ["prompts/list"]]) {
    assert.equal(ask(method, params).code, -32601);
  }
  const batch = start(["--root", base], input([{ jsonrpc: "2.0", id: 1, method: "ping" }]));
  assert.equal(JSON.parse(batch.stdout).error.code, -32600);
  const unconfined = start(["--read-only"], "");
  assert.equal(unconfined.status, 2);
  assert.match(unconfined.stderr, /mcp needs --root DIR/);
}

try {
  if (isSdk) {
    exchangeRawMessages();
  }
  for (const mode of isSdk ? [undefined] : ["legacy", { pin: STATELESS }]) {
    makeTree();
    const client = await connect(mode);
    assert.match(client.getInstructions(), new RegExp(at("data")));
    for (const step of [callEveryTool, attack, readLargeFiles, cancelWaitingRequest]) {
      await step(client);
    }
    assert.deepEqual(client.errors, []);
    await client.close();
    await readOnly(mode);
  }
} finally {
  fs.rmSync(base, { recursive: true });
}
