// The peer's side of bench/html-peer: juice inlines the style sheets of the file given, `repeats`
// times; prints the best wall-clock and processor times (the whole process's, its helper threads
// included) in milliseconds and the output's length in UTF-16 units.
const fs = require("fs");
const path = require("path");
const [peers, file, repeats] = process.argv.slice(2);
const juice = require(path.join(peers, "node_modules", "juice"));
const html = fs.readFileSync(file, "utf8");
let best = Infinity;
let bestCpu = Infinity;
let length = 0;
for (let i = 0; i < Math.max(1, Number(repeats)); i++) {
  const cpuStart = process.cpuUsage();
  const start = process.hrtime.bigint();
  length = juice(html).length;
  best = Math.min(best, Number(process.hrtime.bigint() - start) / 1e6);
  const cpu = process.cpuUsage(cpuStart);
  bestCpu = Math.min(bestCpu, (cpu.user + cpu.system) / 1000);
}
console.log(`${best.toFixed(1)} ${bestCpu.toFixed(1)} ${length}`);
