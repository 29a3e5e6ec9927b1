// Serves the requests of bench/compare as a usual Node.js program does: with asynchronous calls, and
// with independent calls at the same time.

const { isUtf8 } = require("node:buffer");
const { constants, promises: fs } = require("node:fs");
const path = require("node:path");
const rpc = require("vscode-jsonrpc/node");

const LISTED_TOGETHER = 64;

const MISSING = { isDirectory: () => false, mtimeMs: 0, size: 0 };

const isAccessible = (location, mode) => fs.access(location, mode).then(() => true, () => false);

const canWrite = (location) => isAccessible(location, constants.W_OK);

const info = (location, stats, writable) => ({
  canWrite: writable, deleted: stats === MISSING, isDirectory: stats.isDirectory(), isShared: false, location,
  modified: Math.floor(stats.mtimeMs / 1000), name: path.basename(location), size: stats.size,
});

async function describe(location) {
  return info(location, ...await Promise.all([fs.stat(location), canWrite(location)]));
}

const bytesOf = ({ contents = "", encoding = "utf-8" }) =>
  encoding === "base64" ? Buffer.from(contents, "base64") : contents;

async function write(file, flag) {
  await fs.writeFile(file.location, bytesOf(file), { flag });
  return { fileInfo: await describe(file.location) };
}

const operations = {
  // Faster than fs.readFile, which determines the size again and reads in pieces.
  async OpenFile({ path: location }) {
    const handle = await fs.open(location);
    try {
      const [stats, writable] = await Promise.all([handle.stat(), canWrite(location)]);
      const { buffer, bytesRead } = await handle.read(Buffer.allocUnsafe(stats.size));
      const bytes = buffer.subarray(0, bytesRead);
      const encoding = isUtf8(bytes) ? "utf-8" : "base64";
      const file = { ...info(location, stats, writable), contents: bytes.toString(encoding), encoding };
      return { column: -1, file, isDebugEvent: false, lineNumber: -1 };
    } finally {
      await handle.close();
    }
  },

  async ListFolder({ path: location }) {
    const [folder, entries] = await Promise.all([describe(location), fs.readdir(location)]);
    const names = entries.filter((name) => !name.startsWith("."));
    const folderContents = [];
    for (let at = 0; at < names.length; at += LISTED_TOGETHER) {
      folderContents.push(...await Promise.all(
        names.slice(at, at + LISTED_TOGETHER).map((name) => describe(path.join(location, name)))));
    }
    return { folder, folderContents };
  },

  CreateFile: ({ file }) => write(file, "wx"),

  UpdateFile: ({ file }) => write(file, constants.O_WRONLY | constants.O_TRUNC),

  async RenameFile({ originalFileInfo, newFileInfo }) {
    if (await isAccessible(newFileInfo, constants.F_OK)) {
      throw Object.assign(new Error(newFileInfo), { code: "EEXIST" });
    }
    await fs.rename(originalFileInfo, newFileInfo);
    return { newFileInfo: await describe(newFileInfo) };
  },

  async MoveFile({ srcPath, destPath }) {
    const target = path.join(destPath, path.basename(srcPath));
    const [stats] = await Promise.all([
      fs.stat(srcPath), fs.copyFile(srcPath, target, constants.COPYFILE_EXCL)]);
    const [fileInfo] = await Promise.all([
      fs.utimes(target, stats.atime, stats.mtime).then(() => describe(target)), fs.unlink(srcPath)]);
    return { fileInfo, srcPath: { isDirectory: false, location: srcPath, name: fileInfo.name } };
  },

  async DeleteFile({ path: location }) {
    const stats = await fs.lstat(location);
    await (stats.isDirectory() ? fs.rm(location, { recursive: true }) : fs.unlink(location));
    return { fileInfo: info(location, MISSING, false) };
  },
};

async function answer(operation, params) {
  const common = { apiVersion: "1.0", messageFaults: [], uuid: params.uuid ?? "notset" };
  try {
    return { ...await operation(params), ...common };
  } catch (error) {
    return { ...common, messageFaults: [{ faultCode: error.code, message: error.message }] };
  }
}

const connection = rpc.createMessageConnection(
  new rpc.StreamMessageReader(process.stdin), new rpc.StreamMessageWriter(process.stdout));
for (const [name, operation] of Object.entries(operations)) {
  connection.onRequest("connector/v1/" + name, (params) => answer(operation, params));
}
connection.listen();
