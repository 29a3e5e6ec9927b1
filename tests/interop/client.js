// A public JSON-RPC client talks to connector-host over Content-Length framing.
// Usage: node client.js HOST_PROGRAM

const assert = require("node:assert/strict");
const { spawn } = require("node:child_process");
const fs = require("node:fs");
const os = require("node:os");
const path = require("node:path");
const rpc = require("vscode-jsonrpc/node");

async function main() {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), "connector-interop-"));
  const host = spawn(process.argv[2], [], { stdio: ["pipe", "pipe", "inherit"] });
  const ended = new Promise((resolve) => host.on("exit", resolve));
  const connection = rpc.createMessageConnection(
    new rpc.StreamMessageReader(host.stdout),
    new rpc.StreamMessageWriter(host.stdin));
  connection.listen();
  const ask = (type, params) => connection.sendRequest("connector/v1/" + type, params);
  const location = path.join(folder, "größe 漢.txt");
  const contents = "ü\u0000漢".repeat(500_000);

  const created = await ask("CreateFile", { uuid: "1", file: { location, contents } });
  assert.deepEqual(created.messageFaults, []);
  assert.equal(fs.readFileSync(location, "utf8"), contents);
  const opened = await ask("OpenFile", { uuid: "2", path: location });
  assert.equal(opened.file.contents, contents);

  const many = await Promise.all(
    Array.from({ length: 200 }, (_, n) => ask("ListFolder", { uuid: String(n), path: folder })));
  many.forEach((answer, n) => {
    assert.equal(answer.uuid, String(n));
    assert.deepEqual(answer.folderContents.map((entry) => entry.location), [location]);
  });

  const refused = await ask("OpenFile", { path: path.join(folder, "missing") });
  assert.equal(refused.messageFaults[0].faultConditions[0].faultId, "FILE_NOT_FOUND");
  await assert.rejects(ask("NoSuchMessage", {}), { code: -32601 });
  await connection.sendNotification("connector/v1/DeleteFile", { path: location });
  const listed = await ask("ListFolder", { path: folder });
  assert.deepEqual(listed.folderContents, []);

  connection.end();
  assert.equal(await ended, 0);
  fs.rmdirSync(folder);
}

main().catch((error) => {
  console.error(error);
  process.exit(1);
});
