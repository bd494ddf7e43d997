// The peer's side of bench/txclip-vs-msgreader: @kenjiuno/msgreader doing, in one node process, the
// work txclip does on the same saved items: each file parsed, its bodies read (text, HTML, the RTF
// decompressed), every attachment's bytes read (an attached message is written out as a file of
// its own, as txclip does). Prints what it counted, so that a run that read nothing shows.
//
//   node bench/msgreader-peer.js NODE_MODULES FILE...
"use strict";
const fs = require("fs");
const path = require("path");

const [modules, ...files] = process.argv.slice(2);
const MsgReader = require(path.resolve(modules, "@kenjiuno/msgreader")).default;
const { decompressRTF } = require(path.resolve(modules, "@kenjiuno/decompressrtf"));

let items = 0, bodyChars = 0, rtfBytes = 0, attachments = 0, attachmentBytes = 0;

for (const file of files) {
  const bytes = fs.readFileSync(file);
  const reader = new MsgReader(bytes.buffer.slice(bytes.byteOffset, bytes.byteOffset + bytes.length));
  const data = reader.getFileData();
  if (data.error)
    throw new Error(`${file}: ${data.error}`);
  ++items;
  bodyChars += (data.body || "").length + (data.bodyHtml || "").length + (data.html ? data.html.length : 0);
  if (data.compressedRtf)
    rtfBytes += decompressRTF(Array.from(data.compressedRtf)).length;
  for (const attachment of data.attachments || []) {
    // An attachment by reference holds no bytes (txclip leaves those out too).
    if (attachment.dataId === undefined && !attachment.innerMsgContent)
      continue;
    const content = reader.getAttachment(attachment).content;
    ++attachments;
    attachmentBytes += content ? content.length : 0;
  }
}

console.log(`${items} items, ${bodyChars} body characters, ${rtfBytes} bytes of decompressed RTF, ` +
            `${attachments} attachments of ${attachmentBytes} bytes`);
