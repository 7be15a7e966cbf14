// node build.mjs PAGE.cpp: makes one HTML text of each page, everything inlined, and a C++ source of
// those texts, cut in two where the data goes.

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
async function page(folder) {
  const style = await bundled(`${folder}/style.css`);
  const dark = await bundled(`${folder}/dark.css`);
  const script = licenceOf('uplot') + await bundled(`${folder}/main.js`);
  if (script.includes('</script')) throw new Error('the script would end its own element');
  return readFileSync(here(`${folder}/index.html`), 'utf8')
    .replace('/*STYLE*/', () => style)
    .replace('/*DARK*/', () => dark)
    .replace('/*SCRIPT*/', () => script);
}

function literal(text) {
  const end = ')kzpage"';
  if (text.includes(end)) throw new Error(`the page holds ${end}, which ends its literal`);
  return `R"kzpage(${text}${end}`;
}

const builtPage = (html) => html.split(DATA).map(literal).join(',\n    ');

writeFileSync(process.argv[2], `#include "builtpage.h"

namespace kzstatprogram {

const BuiltPage kRunPage{
    ${builtPage(await page('src'))}};

const BuiltPage kComparisonPage{
    ${builtPage(await page('src/comparison'))}};

}  // namespace kzstatprogram
`);
