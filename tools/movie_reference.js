// Draws frames of movies with lottie-web's SVG renderer in headless Chromium. Started by
// tools/movie_fidelity, with a folder of npm packages and a file of jobs:
//   [{"movie": FILE, "frames": [0, 30], "width": 640, "height": 360, "out": DIR}, ...]
// Writes DIR/frame-N.png with transparency, and one line of JSON for each job.
'use strict';
const fs = require('fs');
const path = require('path');

const [packages, jobsFile] = process.argv.slice(2);
const {chromium} = require(path.join(packages, 'node_modules', 'playwright-core'));

// What lottie-web 5.13 draws against the format's documentation is put right in its text: an inverted
// mask is what lies outside of the path, and a first mask that subtracts takes away from all of the layer.
function mended(text) {
  const changes = [
    ["path.setAttribute('clip-rule', 'nonzero');",
      "path.setAttribute('clip-rule', 'nonzero'); if (properties[i].inv) path.setAttribute('fill-rule', 'evenodd');"],
    ["rect.setAttribute('width', this.element.comp.data.w || 0);",
      "rect.setAttribute('x', -50000); rect.setAttribute('y', -50000); rect.setAttribute('width', 100000);"],
    ["rect.setAttribute('height', this.element.comp.data.h || 0);",
      "rect.setAttribute('height', 100000);"],
    ["var path = 'M0,0 ';\n    path += ' h' + this.globalData.compSize.w;",
      "return 'M-50000,-50000 h100000 v100000 h-100000 z '; var path = '';"],
  ];
  for (const [from, to] of changes) {
    if (!text.includes(from)) throw new Error(`lottie-web has changed: it has no "${from}"`);
    text = text.replace(from, to);
  }
  return text;
}

// The page's server: what lies below the movie's folder, and nothing else.
async function serve(page, folder) {
  await page.route('**/*', (route) => {
    const name = decodeURIComponent(new URL(route.request().url()).pathname);
    if (name === '/') return route.fulfill({contentType: 'text/html', body:
      '<body style="margin:0;background:transparent"><div id="box"></div></body>'});
    const file = path.join(folder, path.normalize(name));
    return fs.existsSync(file) ? route.fulfill({path: file}) : route.fulfill({status: 404, body: ''});
  });
  await page.goto('http://movie.test/');
}

async function draw(page, job) {
  await page.setViewportSize({width: job.width, height: job.height});
  const count = await page.evaluate(async ([name, width, height]) => {
    const box = document.getElementById('box');
    if (window.movie) window.movie.destroy();
    box.innerHTML = '';
    box.style.width = width + 'px';
    box.style.height = height + 'px';
    const movie = window.movie = lottie.loadAnimation(
      {container: box, renderer: 'svg', loop: false, autoplay: false, path: '/' + encodeURIComponent(name)});
    // Pictures and fonts come later; five seconds are enough for what is in the file.
    for (let i = 0; i < 100 && !movie.isLoaded; ++i) await new Promise((done) => setTimeout(done, 50));
    await document.fonts.ready;
    return movie.isLoaded ? movie.totalFrames : -1;
  }, [path.basename(job.movie), job.width, job.height]);
  if (count < 0) throw new Error('it does not load');
  fs.mkdirSync(job.out, {recursive: true});
  let last = -1;
  for (const frame of job.frames) {
    await page.evaluate(([last, frame]) => new Promise(async (done) => {
      // As one who watches it sees it: after a jump lottie-web keeps some of what was before.
      for (let each = last + 1; each <= frame; ++each) window.movie.goToAndStop(each, true);
      // Chromium may keep what it painted of a mask before: what is drawn is a copy that it has not seen.
      const box = document.getElementById('box');
      window.drawn = window.drawn || box.firstChild;
      box.replaceChildren(window.drawn.cloneNode(true));
      // A mask that does not say where it is cuts thick strokes off, a tenth of their path's box away.
      for (const mask of box.querySelectorAll('mask:not([maskUnits])')) {
        mask.setAttribute('maskUnits', 'userSpaceOnUse');
        for (const [name, value] of [['x', -50000], ['y', -50000], ['width', 100000], ['height', 100000]]) {
          mask.setAttribute(name, value);
        }
      }
      await Promise.all([...box.querySelectorAll('image')].map((image) => image.decode().catch(() => {})));
      requestAnimationFrame(() => requestAnimationFrame(done));
    }), [last, frame]);
    last = frame;
    await page.screenshot({path: path.join(job.out, `frame-${frame}.png`), omitBackground: true, timeout: 20000});
  }
}

const SECONDS = 90;  // for a movie

// A page that computes for ever answers nothing any more: what was asked of it is left, not waited for.
function within(seconds, work) {
  let timer;
  const late = new Promise((unused, reject) => {
    timer = setTimeout(() => reject(new Error(`it takes more than ${seconds} s`)), seconds * 1000);
  });
  return Promise.race([work, late]).finally(() => clearTimeout(timer));
}

async function main() {
  const jobs = JSON.parse(fs.readFileSync(jobsFile, 'utf8'));
  const script = mended(fs.readFileSync(path.join(packages, 'node_modules/lottie-web/build/player/lottie.js'), 'utf8'));
  const launch = () => chromium.launch({executablePath: '/usr/bin/chromium', args: [
    '--no-sandbox', '--disable-gpu', '--disable-background-networking', '--disable-component-update',
    '--disable-sync', '--no-first-run', '--force-color-profile=srgb', '--hide-scrollbars']});
  let browser = await launch();
  for (const job of jobs) {
    // A page of its own each: a movie that breaks the renderer breaks no other.
    const page = await browser.newPage();
    let error = '';
    try {
      await serve(page, path.dirname(job.movie));
      await page.addScriptTag({content: script});
      await within(SECONDS, draw(page, job));
    } catch (fault) {
      error = String(fault).split('\n')[0];
    }
    try {
      await within(5, page.close());
    } catch (stuck) {
      await browser.close();
      browser = await launch();
    }
    console.log(JSON.stringify({movie: job.movie, error}));
  }
  await browser.close();
}

main().catch((fault) => {
  console.error(String(fault));
  process.exit(1);
});
