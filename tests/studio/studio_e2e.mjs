// The studio end to end in a real browser: Debian's chromium driven by
// playwright-core. Builds a two-module patch by dragging from the palette and
// wiring ports, changes a setting in a module's panel, checks the preview
// changes, saves, reloads the page, loads the patch and compares the preview
// with `tessivo apply` on the same input, pixel for pixel. Screenshots stay in
// the output folder.
//
//   node studio_e2e.mjs --tessivo BIN --web-packages DIR --chromium BIN --out DIR [--screenshot FILE]
import { spawn, execFileSync } from 'node:child_process';
import { createRequire } from 'node:module';
import fs from 'node:fs';
import path from 'node:path';
import zlib from 'node:zlib';
import os from 'node:os';

const args = {};
for (let i = 2; i < process.argv.length; i += 2) args[process.argv[i].replace(/^--/, '')] = process.argv[i + 1];
for (const name of ['tessivo', 'web-packages', 'chromium', 'out'])
  if (!args[name]) throw new Error(`missing --${name}`);
const { chromium } = createRequire(path.resolve(args['web-packages'], 'package.json'))('playwright-core');

args.tessivo = path.resolve(args.tessivo);
const started = Date.now();
const out = path.resolve(args.out);
fs.rmSync(out, { recursive: true, force: true });
fs.mkdirSync(out, { recursive: true });
const log = (...m) => console.log(`[${((Date.now() - started) / 1000).toFixed(1)} s]`, ...m);

// PNG in and out (8-bit RGBA, no interlace), enough for the pictures compared here.
const CRC = Array.from({ length: 256 }, (_, n) => {
  let c = n;
  for (let k = 0; k < 8; k++) c = c & 1 ? 0xedb88320 ^ (c >>> 1) : c >>> 1;
  return c >>> 0;
});
function crc32(buffer) {
  let c = 0xffffffff;
  for (const b of buffer) c = CRC[(c ^ b) & 0xff] ^ (c >>> 8);
  return (c ^ 0xffffffff) >>> 0;
}
function chunk(type, data) {
  const body = Buffer.concat([Buffer.from(type, 'ascii'), data]);
  const length = Buffer.alloc(4);
  length.writeUInt32BE(data.length);
  const crc = Buffer.alloc(4);
  crc.writeUInt32BE(crc32(body));
  return Buffer.concat([length, body, crc]);
}
function encodePng(width, height, rgba) {
  const header = Buffer.alloc(13);
  header.writeUInt32BE(width, 0);
  header.writeUInt32BE(height, 4);
  header[8] = 8;
  header[9] = 6;
  const raw = Buffer.alloc((width * 4 + 1) * height);
  for (let y = 0; y < height; y++) rgba.copy(raw, y * (width * 4 + 1) + 1, y * width * 4, (y + 1) * width * 4);
  return Buffer.concat([Buffer.from([137, 80, 78, 71, 13, 10, 26, 10]), chunk('IHDR', header),
                        chunk('IDAT', zlib.deflateSync(raw)), chunk('IEND', Buffer.alloc(0))]);
}
function decodePng(buffer) {
  if (buffer.readUInt32BE(0) !== 0x89504e47) throw new Error('not a PNG');
  let offset = 8, width = 0, height = 0, depth = 0, colour = 0;
  const idat = [];
  while (offset < buffer.length) {
    const length = buffer.readUInt32BE(offset);
    const type = buffer.toString('ascii', offset + 4, offset + 8);
    const data = buffer.subarray(offset + 8, offset + 8 + length);
    if (type === 'IHDR') [width, height, depth, colour] = [data.readUInt32BE(0), data.readUInt32BE(4), data[8], data[9]];
    if (type === 'IDAT') idat.push(data);
    offset += 12 + length;
  }
  const channels = { 6: 4, 2: 3, 0: 1, 4: 2 }[colour];
  if (depth !== 8 || !channels) throw new Error(`unsupported PNG (depth ${depth}, colour type ${colour})`);
  const raw = zlib.inflateSync(Buffer.concat(idat));
  const stride = width * channels, bpp = channels;
  const pixels = Buffer.alloc(stride * height);
  for (let y = 0; y < height; y++) {
    const filter = raw[y * (stride + 1)];
    const line = raw.subarray(y * (stride + 1) + 1, (y + 1) * (stride + 1));
    for (let x = 0; x < stride; x++) {
      const a = x >= bpp ? pixels[y * stride + x - bpp] : 0;
      const b = y > 0 ? pixels[(y - 1) * stride + x] : 0;
      const c = x >= bpp && y > 0 ? pixels[(y - 1) * stride + x - bpp] : 0;
      let v = line[x];
      if (filter === 1) v += a;
      else if (filter === 2) v += b;
      else if (filter === 3) v += (a + b) >> 1;
      else if (filter === 4) {
        const p = a + b - c, pa = Math.abs(p - a), pb = Math.abs(p - b), pc = Math.abs(p - c);
        v += pa <= pb && pa <= pc ? a : pb <= pc ? b : c;
      }
      pixels[y * stride + x] = v & 0xff;
    }
  }
  // As RGBA.
  const rgba = Buffer.alloc(width * height * 4);
  for (let i = 0; i < width * height; i++) {
    const s = pixels.subarray(i * channels, (i + 1) * channels);
    const [r, g, b, al] = channels === 4 ? s : channels === 3 ? [...s, 255] : channels === 2 ? [s[0], s[0], s[0], s[1]] : [s[0], s[0], s[0], 255];
    rgba.set([r, g, b, al], i * 4);
  }
  return { width, height, rgba };
}
function differences(a, b) {
  if (a.width !== b.width || a.height !== b.height) return `sizes differ: ${a.width}x${a.height} and ${b.width}x${b.height}`;
  let count = 0, first = -1;
  for (let i = 0; i < a.rgba.length; i++)
    if (a.rgba[i] !== b.rgba[i]) {
      count++;
      if (first < 0) first = i;
    }
  if (!count) return null;
  const p = first >> 2;
  return `${count} bytes differ, first at (${p % a.width}, ${Math.floor(p / a.width)})`;
}

function check(condition, message) {
  if (!condition) throw new Error(message);
}

// The input: a 640x360 picture with detail everywhere.
const W = 640, H = 360;
const input = Buffer.alloc(W * H * 4);
for (let y = 0; y < H; y++)
  for (let x = 0; x < W; x++) input.set([(x * 255 / W) | 0, (y * 255 / H) | 0, ((x ^ y) * 7) & 255, 255], (y * W + x) * 4);
fs.writeFileSync(path.join(out, 'input.png'), encodePng(W, H, input));

// The server, on a free port, working in the output folder.
const server = spawn(args.tessivo, ['studio'], { cwd: out, stdio: ['ignore', 'pipe', 'pipe'] });
let serverOutput = '';
server.stderr.on('data', (d) => (serverOutput += d));
const url = await new Promise((resolve, reject) => {
  let text = '';
  const timer = setTimeout(() => reject(new Error(`the studio printed no address: ${text}${serverOutput}`)), 20000);
  server.stdout.on('data', (d) => {
    text += d;
    const match = text.match(/http:\/\/127\.0\.0\.1:\d+\//);
    if (match) {
      clearTimeout(timer);
      resolve(match[0]);
    }
  });
  server.once('exit', (code) => reject(new Error(`the studio exited (${code}): ${text}${serverOutput}`)));
});
log('studio at', url);

const profile = fs.mkdtempSync(path.join(os.tmpdir(), 'tessivo-studio-e2e-'));
// A fresh profile each run (the persistent-context form is how playwright takes --user-data-dir).
let context = null;
let failed = false;
try {
  context = await chromium.launchPersistentContext(profile, {
    executablePath: args.chromium,
    headless: true,
    viewport: { width: 1400, height: 800 },
    args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
           '--disable-background-networking', '--disable-component-update', '--disable-sync'],
  });
  const page = context.pages()[0] || (await context.newPage());
  page.setDefaultTimeout(45000);  // generous: the suite runs two tests at a time on a small machine
  page.on('pageerror', (e) => log('page error:', e.message));
  let confirmAnswer = true;
  let promptAnswer = 'input.png';
  const asked = [];
  page.on('dialog', (dialog) => {
    asked.push(dialog.message());
    if (dialog.type() === 'prompt') return dialog.accept(promptAnswer);
    return confirmAnswer ? dialog.accept() : dialog.dismiss();
  });
  await page.goto(url);
  await page.getByTestId('palette-fadr').waitFor();

  // Build: a still, Emboss and Fader dragged onto the canvas, then wired.
  const canvas = page.getByTestId('canvas');
  await page.getByTestId('palette-still').dragTo(canvas, { targetPosition: { x: 60, y: 80 } });
  await page.getByTestId('palette-embs').dragTo(canvas, { targetPosition: { x: 300, y: 60 } });
  await page.getByTestId('palette-fadr').dragTo(canvas, { targetPosition: { x: 300, y: 260 } });
  for (const id of ['still', 'embs', 'fadr']) await page.getByTestId(`node-${id}`).waitFor();
  const wire = async (from, to) => {
    const a = await page.getByTestId(from).boundingBox();
    const b = await page.getByTestId(to).boundingBox();
    await page.mouse.move(a.x + a.width / 2, a.y + a.height / 2);
    await page.mouse.down();
    await page.mouse.move(b.x + b.width / 2, b.y + b.height / 2, { steps: 12 });
    await page.mouse.up();
  };
  // Fader with nothing wired cannot render: the preview says so.
  await page.getByTestId('node-fadr').getByTitle("Preview this node's picture").click();
  const renderError = await page.getByTestId('preview-error').textContent();
  check(renderError.includes('Fader failed to render'), `unclear render failure: ${renderError}`);
  // A picture into a control input is refused by the page.
  await wire('port-still-out', 'port-fadr-in-2');
  await wire('port-still-out', 'port-embs-in-0');
  await wire('port-embs-out-2', 'port-fadr-in-0');
  await page.waitForFunction(() => document.querySelectorAll('.react-flow__edge').length === 2);
  // The page itself refused the picture-to-control wire: the server never had to say no.
  check(!(await page.getByTestId('error').isVisible()), 'the page let an incompatible wire through to the server');
  const state = await (await page.request.get(`${url}api/state`)).json();
  check(JSON.stringify(state.patch.wires.map((w) => [w.from, w.to, String(w.port)])) === '[["still","embs","0"],["embs","fadr","0"]]',
        `unexpected wires ${JSON.stringify(state.patch.wires)}`);
  log('patch built by drag and wire');

  const previewBytes = async () => {
    const img = page.getByTestId('preview-image');
    await img.waitFor();
    const base64 = await img.evaluate(async (element) => {
      const bytes = new Uint8Array(await (await fetch(element.src)).arrayBuffer());
      let text = '';
      for (let i = 0; i < bytes.length; i += 8192) text += String.fromCharCode(...bytes.subarray(i, i + 8192));
      return btoa(text);
    });
    return Buffer.from(base64, 'base64');
  };
  // The document's version on the page; a frame shows the version it was rendered for.
  const docVersion = async () => Number(await page.getByTestId('doc-status').getAttribute('data-version'));
  const waitForPreviewOf = async (id, minVersion, time = 0) => {
    await page.waitForFunction(
      ([id, minVersion, time]) => {
        const img = document.querySelector('[data-testid=preview-image]');
        return img && img.dataset.node === id && Number(img.dataset.version) >= minVersion && Number(img.dataset.time) === time;
      },
      [id, minVersion, time],
    );
    return previewBytes();
  };

  await page.getByTestId('node-fadr').getByTitle("Preview this node's picture").click();
  const before = await waitForPreviewOf('fadr', await docVersion());
  await page.screenshot({ path: path.join(out, '1-built.png') });

  // The panel, as Fader builds it: colour button and alpha field.
  await page.getByTestId('panel-fadr').click();
  const dialog = page.getByTestId('panel-dialog');
  await dialog.waitFor();
  await dialog.getByLabel('Fade color').fill('#ff2000');
  await dialog.getByLabel('Fade alpha').fill('999');
  await dialog.getByTestId('button-OK').click();
  await dialog.getByRole('alert').waitFor();  // out of range: the panel stays, with the reason
  log('refused:', await dialog.getByRole('alert').textContent());
  await dialog.getByLabel('Fade alpha').fill('255');
  await page.screenshot({ path: path.join(out, '2-panel.png') });
  const unchanged = await docVersion();
  await dialog.getByTestId('button-OK').click();
  await dialog.waitFor({ state: 'detached' });
  const after = await waitForPreviewOf('fadr', unchanged + 1);
  check(differences(decodePng(before), decodePng(after)) !== null, 'the setting did not change the preview');
  log('panel setting changed the preview');

  // Unsaved work: New asks first, and No keeps everything.
  confirmAnswer = false;
  await page.getByTestId('new').click();
  check(asked.some((m) => m.includes('unsaved changes')), `New did not ask before discarding: ${asked}`);
  check(await page.getByTestId('node-fadr').isVisible(), 'New discarded unsaved work after No');
  confirmAnswer = true;

  // Play a while: the frame rate the page measured.
  await page.getByTestId('play').click();
  await page.waitForTimeout(3000);
  const fps = await page.getByTestId('fps').textContent();
  await page.getByTestId('play').click();
  await page.getByTitle('Back to 0').click();
  log(`preview while playing at 640x360: ${fps}`);

  // Save, reload, load.
  await page.getByTestId('file-name').fill('studio-e2e.json');
  await page.getByTestId('save').click();
  await page.waitForFunction(() => document.querySelector('[data-testid=doc-status]').textContent.includes('— saved'));
  check(fs.existsSync(path.join(out, 'studio-e2e.json')), 'the patch file was not written');
  await page.reload();
  await page.getByTestId('file-name').fill('studio-e2e.json');
  const reloaded = await docVersion();
  await page.getByTestId('load').click();
  await page.getByTestId('node-fadr').waitFor();
  await page.getByTestId('node-fadr').getByTitle("Preview this node's picture").click();
  const loaded = await waitForPreviewOf('fadr', reloaded + 1);
  fs.writeFileSync(path.join(out, 'preview.png'), loaded);
  await page.screenshot({ path: path.join(out, '3-loaded.png') });
  if (args.screenshot) await page.screenshot({ path: args.screenshot });

  // The command line on the same input.
  execFileSync(args.tessivo, ['apply', 'embs+fadr', 'input.png', 'apply.png', '--set', 'fadr:Fade Color=#FF2000FF'], { cwd: out });
  const fromApply = decodePng(fs.readFileSync(path.join(out, 'apply.png')));
  const fromStudio = decodePng(loaded);
  const difference = differences(fromStudio, fromApply);
  check(difference === null, `studio preview and tessivo apply differ: ${difference}`);
  fs.writeFileSync(path.join(out, 'after-panel.png'), after);
  check(differences(decodePng(after), fromStudio) === null, `the loaded patch previews differently from the saved one: ${differences(decodePng(after), fromStudio)}`);
  log('preview after load equals tessivo apply, pixel for pixel');

  // A clip: a video node plays it, a different frame at another time.
  execFileSync('ffmpeg', ['-loglevel', 'error', '-y', '-f', 'lavfi', '-i', 'testsrc2=size=64x36:rate=5', '-t', '2',
                          '-c:v', 'ffv1', path.join(out, 'clip.mkv')]);
  promptAnswer = 'clip.mkv';
  await page.getByTestId('palette-video').dragTo(canvas, { targetPosition: { x: 60, y: 420 } });
  await page.getByTestId('node-video').waitFor();
  const frameAt = async (t) =>
    Buffer.from(await (await fetch(`${url}api/preview/video?format=png&w=64&h=36&t=${t}`)).arrayBuffer());
  const [early, late] = [decodePng(await frameAt(0)), decodePng(await frameAt(1.5))];
  check(early.width === 64 && differences(early, late) !== null, 'the video node shows the same picture at 0 s and 1.5 s');
  log('video node plays its clip');

  // A wrong patch file: a clear message, the document kept.
  fs.writeFileSync(path.join(out, 'bad.json'), '{"format": "tessivo-patch", "version": 1, "nodes": [{"id": 3}]}');
  await page.getByTestId('file-name').fill('bad.json');
  await page.getByTestId('load').click();
  const message = await page.getByTestId('error').textContent();
  check(message.includes('bad.json'), `unclear message for a bad patch: ${message}`);
  check(await page.getByTestId('node-fadr').isVisible(), 'a bad patch replaced the document');

  // A lost server: the page says so.
  const exited = new Promise((resolve) => server.once('exit', resolve));
  server.kill('SIGTERM');
  await exited;
  await page.getByTestId('node-embs').getByTitle("Preview this node's picture").click();
  await page.getByTestId('lost').waitFor();
  await page.screenshot({ path: path.join(out, '4-lost.png') });
  log('lost connection reported');
} catch (error) {
  failed = true;
  console.error('FAILED:', error.message);
  try {
    const pages = context ? context.pages() : [];
    if (pages.length) await pages[0].screenshot({ path: path.join(out, 'failure.png') });
  } catch {
    /* no screenshot */
  }
  if (serverOutput) console.error('server said:', serverOutput);
} finally {
  if (context) await context.close();
  server.kill('SIGTERM');
  fs.rmSync(profile, { recursive: true, force: true });
}
log(failed ? 'studio_end_to_end failed' : 'studio_end_to_end passed');
process.exit(failed ? 1 : 0);
