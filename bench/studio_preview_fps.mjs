// Preview frame rate of `tessivo studio` in a real browser: the animated test
// scene through Emboss and Fader (its fade driven by a time expression), shown
// at 640x360 while playing. Prints the rate the page measured and, with
// --screenshot FILE, keeps a picture of the page.
//
//   node bench/studio_preview_fps.mjs --tessivo build/release/bin/tessivo \
//        --web-packages host/studio/web [--chromium /usr/bin/chromium] [--seconds 8] [--screenshot docs/studio.png]
import { spawn } from 'node:child_process';
import { createRequire } from 'node:module';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';

const args = { chromium: '/usr/bin/chromium', seconds: '8' };
for (let i = 2; i < process.argv.length; i += 2) args[process.argv[i].replace(/^--/, '')] = process.argv[i + 1];
const { chromium } = createRequire(path.resolve(args['web-packages'], 'package.json'))('playwright-core');

const work = fs.mkdtempSync(path.join(os.tmpdir(), 'tessivo-studio-fps-'));
const server = spawn(path.resolve(args.tessivo), ['studio'], { cwd: work, stdio: ['ignore', 'pipe', 'inherit'] });
const url = await new Promise((resolve, reject) => {
  let text = '';
  server.stdout.on('data', (d) => {
    text += d;
    const match = text.match(/http:\/\/127\.0\.0\.1:\d+\//);
    if (match) resolve(match[0]);
  });
  server.once('exit', (code) => reject(new Error(`the studio exited (${code})`)));
});
const post = async (what, body) => {
  const response = await fetch(url + what, { method: 'POST', headers: { 'Content-Type': 'application/json' }, body: JSON.stringify(body) });
  if (!response.ok) throw new Error(`${what}: ${(await response.json()).error}`);
  return response.json();
};
await post('api/nodes', { kind: 'test-scene', position: [20, 60] });
await post('api/nodes', { kind: 'module', module: 'embs', position: [260, 40] });
await post('api/nodes', { kind: 'module', module: 'fadr', position: [260, 240] });
await post('api/nodes', { kind: 'control', value: '0.5 + 0.5*sin(2*pi*t/4)', position: [20, 300] });
await post('api/wires', { from: 'scene', to: 'embs', port: 0 });
await post('api/wires', { from: 'embs', to: 'fadr', port: 0 });
await post('api/wires', { from: 'control', to: 'fadr', port: 'Fade' });
// Emboss's panel: popups "Effect" (Stonify) and "Strongness" (Strong), looked up by caption.
const panel = await (await fetch(`${url}api/nodes/embs/panel`)).json();
const popup = (caption, label) => {
  const control = panel.controls.find((c) => c.caption === caption);
  return { index: control.index, value: String(control.entries.find((e) => e.label === label).value) };
};
await post('api/nodes/embs/panel', { values: [popup('Effect', 'Stonify'), popup('Strongness', 'Strong')], hit: 1 });
await post('api/nodes/fadr/panel', { values: [{ index: 2, value: '#2040c0' }, { index: 3, value: '255' }], hit: 1 });

const profile = fs.mkdtempSync(path.join(os.tmpdir(), 'tessivo-studio-fps-profile-'));
const context = await chromium.launchPersistentContext(profile, {
  executablePath: args.chromium,
  headless: true,
  viewport: { width: 1400, height: 720 },
  args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
         '--disable-component-update', '--disable-sync'],
});
try {
  const page = context.pages()[0] || (await context.newPage());
  await page.goto(url);
  await page.getByTestId('node-fadr').getByTitle("Preview this node's picture").click();
  await page.getByTestId('play').click();
  const rates = [];
  // The picture in the screenshot: Fader's fade colour half in.
  for (let s = 0; s < Number(args.seconds); s++) {
    await page.waitForTimeout(1000);
    const text = await page.getByTestId('fps').textContent();
    if (s >= 2 && text) rates.push(parseFloat(text));  // after the first seconds
  }
  if (args.screenshot) await page.screenshot({ path: args.screenshot });
  rates.sort((a, b) => a - b);
  console.log(`640x360 preview while playing: median ${rates[rates.length >> 1].toFixed(1)} fps (${rates.map((r) => r.toFixed(1)).join(', ')}) on ${os.cpus().length} cores`);
} finally {
  await context.close();
  server.kill('SIGTERM');
  fs.rmSync(profile, { recursive: true, force: true });
  fs.rmSync(work, { recursive: true, force: true });
}
