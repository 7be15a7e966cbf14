// node build.mjs PAGE.cpp: makes one HTML text of the page, everything inlined, and a C++ source of
// that text, cut in two where the data goes.

import {readFileSync, writeFileSync} from 'node:fs';
import {createRequire} from 'node:module';
import {dirname, join} from 'node:path';
import {fileURLToPath} from 'node:url';
import {build} from 'esbuild';

const DATA = '@DATA@';
const here = (name) => fileURLToPath(new URL(name, import.meta.url));

// What is inlined keeps its licence with it.
function licenceOf(name) {
  const folder = dirname(createRequire(import.meta.url).resolve(`${name}/package.json`));
  return `/*! ${name}: ${readFileSync(join(folder, 'LICENSE'), 'utf8')} */`;
}

async function bundled(entry) {
  const result = await build({
    entryPoints: [here(entry)],
    bundle: true,
    charset: 'utf8',
    format: 'iife',
    minify: true,
    target: 'es2022',
    write: false,
  });
  return result.outputFiles[0].text;
}

// Functions as replacements, since a text would have its $ interpreted.
async function page() {
  const style = await bundled('src/style.css');
  const dark = await bundled('src/dark.css');
  const script = licenceOf('uplot') + await bundled('src/main.js');
  if (script.includes('</script')) throw new Error('the script would end its own element');
  return readFileSync(here('src/index.html'), 'utf8')
    .replace('/*STYLE*/', () => style)
    .replace('/*DARK*/', () => dark)
    .replace('/*SCRIPT*/', () => script);
}

function literal(text) {
  const end = ')kzpage"';
  if (text.includes(end)) throw new Error(`the page holds ${end}, which ends its literal`);
  return `R"kzpage(${text}${end}`;
}

const [head, tail] = (await page()).split(DATA);
writeFileSync(process.argv[2], `#include "builtpage.h"

namespace kzstatprogram {

const std::string_view kPageHead = ${literal(head)};
const std::string_view kPageTail = ${literal(tail)};

}  // namespace kzstatprogram
`);
