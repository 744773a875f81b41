// Makes the source file that holds the page: each file compressed, with its type and a tag that tells versions apart.
//
//     node build.mjs NODE_MODULES OUTPUT.cpp
//
// The modules of the libraries are taken as they are, but for the names under which one finds the other.

import { createHash } from 'node:crypto';
import { readdirSync, readFileSync, writeFileSync } from 'node:fs';
import { dirname, extname, join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { constants, gzipSync } from 'node:zlib';

const [modules, output] = process.argv.slice(2);
const folder = join(dirname(fileURLToPath(import.meta.url)), 'files');

const LIBRARIES = {
  'preact.js': 'preact/dist/preact.module.js',
  'hooks.js': 'preact/hooks/dist/hooks.module.js',
  'htm.js': 'htm/dist/htm.module.js',
};

const TYPES = {
  '.html': 'text/html; charset=utf-8',
  '.js': 'text/javascript; charset=utf-8',
  '.css': 'text/css; charset=utf-8',
  '.svg': 'image/svg+xml',
};

/** The text of a library's module, as the page finds its parts. */
function library(path) {
  return readFileSync(join(modules, path), 'utf8')
    .replace(/from\s*"preact"/g, 'from"./preact.js"')
    .replace(/\n\/\/# sourceMappingURL=.*/, '');
}

/** Bytes as a literal of C++, in lines that tools can read. */
function literal(bytes) {
  const lines = [];
  for (let begin = 0; begin < bytes.length; begin += 32) {
    const line = [...bytes.subarray(begin, begin + 32)].map((byte) => `\\${byte.toString(8).padStart(3, '0')}`);
    lines.push(`    "${line.join('')}"`);
  }
  return lines.join('\n');
}

const files = new Map(readdirSync(folder).map((name) => [name, readFileSync(join(folder, name))]));
for (const [name, path] of Object.entries(LIBRARIES)) files.set(name, Buffer.from(library(path)));

// The page asks for all modules at once: the browser does not find them one behind the other.
const preloads = [...files.keys()]
  .filter((name) => extname(name) === '.js' && name !== 'theme.js')
  .map((name) => `<link rel="modulepreload" href="page/${name}">`);
const page = files.get('index.html').toString().replace('<!-- modules -->', preloads.join('\n  '));
files.set('index.html', Buffer.from(page));

const assets = [...files].map(([name, bytes]) => {
  const gzip = gzipSync(bytes, { level: constants.Z_BEST_COMPRESSION });
  const etag = createHash('sha256').update(bytes).digest('hex').slice(0, 16);
  return `    {"${name}", "${TYPES[extname(name)]}", "\\"${etag}\\"",\n     std::string_view(\n${literal(gzip)},\n    ${gzip.length})},`;
});

writeFileSync(output, `// Made by build.mjs.

#include "page/page.h"

namespace qvcmsd {

std::span<const Asset> Assets() {
  static constexpr Asset assets[] = {
${assets.join('\n')}
  };
  return assets;
}

}  // namespace qvcmsd
`);
