// Time for a frame of movies with lottie-web's canvas renderer in headless Chromium. Started by bench/movies:
//   node bench/movie_canvas.js PACKAGES WIDTH HEIGHT MOVIE ...
// Prints the microseconds of processor time of all of the browser's processes for a frame, a line a movie.
'use strict';
const fs = require('fs');
const os = require('os');
const path = require('path');

const [packages, width, height, ...movies] = process.argv.slice(2);
const {chromium} = require(path.join(packages, 'node_modules', 'playwright-core'));
const PASSES = 3;

// Processes by their parents, and what each has used. Field 4 is the parent, 14 and 15 are the ticks.
function processorSeconds(root) {
  const all = new Map();
  for (const name of fs.readdirSync('/proc')) {
    if (!/^\d+$/.test(name)) continue;
    try {
      const text = fs.readFileSync(`/proc/${name}/stat`, 'utf8');
      const fields = text.slice(text.lastIndexOf(')') + 2).split(' ');
      all.set(Number(name), {parent: Number(fields[1]), ticks: Number(fields[11]) + Number(fields[12])});
    } catch (gone) {
      continue;
    }
  }
  let sum = 0;
  for (const [pid, one] of all) {
    let at = pid;
    while (at !== root && all.has(at)) at = all.get(at).parent;
    if (at === root) sum += one.ticks;
  }
  return sum / 100;
}

async function measure(page, root, movie) {
  await page.setContent(`<body style="margin:0"><div id="box" style="width:${width}px;height:${height}px"></div>`);
  await page.addScriptTag({path: path.join(packages, 'node_modules/lottie-web/build/player/lottie.js')});
  const frames = await page.evaluate(async (data) => {
    window.movie = lottie.loadAnimation({container: document.getElementById('box'), renderer: 'canvas', loop: false,
      autoplay: false, animationData: data});
    for (let i = 0; i < 100 && !window.movie.isLoaded; ++i) await new Promise((done) => setTimeout(done, 50));
    window.pass = () => {
      const context = document.querySelector('canvas').getContext('2d');
      for (let frame = 0; frame < window.movie.totalFrames; ++frame) {
        window.movie.goToAndStop(frame, true);
        context.getImageData(0, 0, 1, 1);  // what is asked for is drawn only when somebody looks
      }
    };
    window.pass();
    return Math.floor(window.movie.totalFrames);
  }, JSON.parse(fs.readFileSync(movie, 'utf8')));
  const times = [];
  for (let i = 0; i < PASSES; ++i) {
    const begin = processorSeconds(root);
    await page.evaluate(() => window.pass());
    times.push((processorSeconds(root) - begin) / frames);
  }
  return times.sort((a, b) => a - b)[PASSES >> 1] * 1e6;
}

async function main() {
  const server = await chromium.launchServer({executablePath: '/usr/bin/chromium', args: [
    '--no-sandbox', '--disable-gpu', '--disable-background-networking', '--disable-component-update',
    '--disable-sync', '--no-first-run']});
  const browser = await chromium.connect(server.wsEndpoint());
  for (const movie of movies) {
    const page = await browser.newPage({viewport: {width: Number(width), height: Number(height)}});
    try {
      console.log((await measure(page, server.process().pid, movie)).toFixed(0));
    } catch (fault) {
      console.log('-');
    }
    await page.close();
  }
  await browser.close();
  await server.close();
}

main().catch((fault) => {
  console.error(String(fault));
  process.exit(1);
});
