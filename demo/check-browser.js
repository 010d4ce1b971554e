// Plays what demo/live and demo/adaptive serve in headless Chromium, by its own player and by hls.js:
// over a crash and a clean end, closed, after a visit to another stream at the same address, and with
// switches between qualities. Where Chromium's own player fails, the page has to go on by hls.js:
// "engine" tells.
const { chromium } = require("playwright-core");
const { execFileSync, spawn } = require("child_process");
const { once } = require("events");
const { mkdtempSync, rmSync } = require("fs");
const { createInterface } = require("readline");
const server = "http://localhost:8080/";
const sleep = milliseconds => new Promise(resolve => setTimeout(resolve, milliseconds));

/** A demonstration that runs, and is asked for its segmenters. */
class Demonstration {
  constructor(name, ...options) {
    this.process = spawn(`demo/${name}`, options, { stdio: ["ignore", "pipe", "inherit"] });
    this.lines = createInterface({ input: this.process.stdout })[Symbol.asyncIterator]();
  }

  /** The processes of the segmenters in the next run. */
  async nextRun() {
    for (;;) {
      const { value, done } = await this.lines.next();
      if (done) throw new Error("the demonstration has ended");
      const processes = value.match(/^run \d+: .* process(?:es)? ([\d ]+)$/)?.[1];
      if (processes) return processes.split(" ").map(Number);
    }
  }

  async end() {
    if (this.process.exitCode !== null) return;
    this.process.kill();
    await once(this.process, "exit");
  }
}

class Viewer {
  constructor(player) { Object.assign(this, { player, failures: [], streams: new Set() }); }

  async open(browser) {
    this.page = await browser.newPage();
    await this.page.setViewportSize({ width: 1180, height: 690 });
    this.page.on("request", request => {
      const stream = request.url().match(/([0-9a-f]{8})\.\d{10}\.ts/)?.[1];
      if (stream) this.streams.add(stream);
    });
    this.page.on("response", response => {
      if (response.status() >= 400 && response.url().endsWith(".ts")) this.failures.push(response.url());
    });
    await this.load();
  }

  load() { return this.page.goto(`${server}?${this.player}`); }

  state() {
    return this.page.evaluate(() => {
      const texts = ["behind", "engine", "errors", "stream"].map(id => [id, element(id).textContent]);
      let played = 0;
      for (let i = 0; i < video.played.length; ++i) played += video.played.end(i) - video.played.start(i);
      return { ...Object.fromEntries(texts), played, width: video.videoWidth, ended: video.ended,
        gaps: video.played.length + video.buffered.length, stalls: window.stalls };
    });
  }

  async until(what, limit, done, mayBe = () => true) {
    for (let i = 0; i < limit * 5; ++i, await sleep(200)) {
      const now = await this.state();
      if (now.errors !== "none") this.failures.push(now.errors);
      if (this.failures.length > 0) throw new Error(`${this.player}: ${this.failures}`);
      if (!mayBe(now)) throw new Error(`${this.player}: ${what}: not smooth: ${JSON.stringify(now)}`);
      if (done(now)) return console.log(`${this.player}: ${what}`, JSON.stringify(now));
    }
    throw new Error(`${this.player}: not within ${limit} s: ${what} ${JSON.stringify(await this.state())}`);
  }

  /** Nothing of the run before is left to play after 20 seconds. */
  async playsRun(run) {
    await this.until(`run ${run} is listed`, 20, now => now.stream === `live, run ${run}`);
    let { played } = await this.state();
    await this.until(`run ${run} is played`, 40, now => {
      played = Math.min(played, now.played); // which begins at 0 when hls.js takes over
      return now.played > played + 20 && !now.ended;
    });
  }

  /** After the step, what is live is played, and nothing is asked for that the cache may still have. */
  async playsOnlyNew(what, step) {
    const old = this.streams;
    this.streams = new Set();
    await step();
    await this.until(`${what}, three seconds are played`, 30, now => now.played > 3);
    if (this.streams.size !== 1 || old.has([...this.streams][0])) {
      throw new Error(`${this.player}: ${what}: asked for ${[...this.streams]} after ${[...old]}`);
    }
  }

  /** It has hls.js play the lower quality, and then the higher one, with neither gap nor stall. */
  async switchesDownAndUp() {
    const widths = await this.page.evaluate(() => {
      window.stalls = 0;
      return hls.levels.map(level => level.width);
    });
    const { gaps } = await this.state();
    for (const [level, width] of widths.entries()) {
      await this.page.evaluate(wanted => { hls.nextLevel = wanted; }, level);
      const end = Date.now() + 3000;
      await this.until(`plays ${width} wide, three seconds at least`, 15,
        now => now.width === width && Date.now() > end, now => now.gaps <= gaps && now.stalls === 0);
    }
  }
}

const launch = profile => chromium.launchPersistentContext(profile, { executablePath: "/usr/bin/chromium", args: [
  "--no-sandbox", "--autoplay-policy=no-user-gesture-required", "--disable-background-networking"] });
let demonstration = null;
async function start(...words) {
  await demonstration?.end();
  demonstration = new Demonstration(...words);
  return demonstration.nextRun();
}

async function checkLive(profile, screenshot) {
  let browser = await launch(profile);
  const viewers = ["native", "hlsjs"].map(player => new Viewer(player));
  const all = action => Promise.all(viewers.map(action));

  let [segmenter] = await start("live", "--runs", "3", "--linger", "60");
  await all(viewer => viewer.open(browser));
  await all(viewer => viewer.until("ten seconds are played live", 30, now => now.played > 10));
  if (screenshot) await viewers[1].page.screenshot({ path: screenshot });
  for (const [run, signal] of [[2, "SIGKILL"], [3, "SIGTERM"]]) {
    console.log(`${signal} for the segmenter`);
    process.kill(segmenter, signal);
    [segmenter] = await demonstration.nextRun();
    await all(viewer => viewer.playsRun(run));
  }
  process.kill(segmenter, "SIGTERM");
  await all(viewer => viewer.until("has ended", 10, now => now.stream === "has ended"));
  await all(viewer => viewer.load());
  await all(viewer => viewer.until("plays the closed playlist to its end", 30, now => now.ended));

  await all(viewer => viewer.page.goto("about:blank"));
  await start("live");
  await all(viewer => viewer.playsOnlyNew("going back", () => viewer.page.goBack()));
  await browser.close();
  await start("live");
  browser = await launch(profile);
  await all(viewer => viewer.playsOnlyNew("the next day", () => viewer.open(browser)));
  await browser.close();
}

/** How many discontinuities a quality had, and the timestamps and flags with which its segments begin. */
async function facts(quality) {
  const folder = `${server}hls/${quality}/`;
  const playlist = await (await fetch(`${folder}live.m3u8`)).text();
  const left = Number(playlist.match(/DISCONTINUITY-SEQUENCE:(\d+)/)[1]);
  const starts = playlist.match(/^[^#\n].*$/gm).map(segment => execFileSync("ffprobe", ["-v", "error",
    "-select_streams", "v", "-show_entries", "packet=pts,flags", "-read_intervals", "%+#1", "-of", "csv=p=0",
    folder + segment]).toString().trim());
  return { discontinuities: left + (playlist.match(/^#EXT-X-DISCONTINUITY$/gm) ?? []).length, starts };
}

async function checkAdaptive(profile) {
  const [segmenter] = await start("adaptive", "--seconds", "40", "--runs", "2", "--linger", "40");
  const browser = await launch(profile);
  const viewer = new Viewer("hlsjs");
  await viewer.open(browser);
  await viewer.until("plays", 25, now => now.played > 1 && now.width > 0);
  await viewer.page.evaluate(() => video.addEventListener("waiting", () => ++window.stalls));
  await viewer.switchesDownAndUp();
  process.kill(segmenter, "SIGKILL");
  await viewer.playsRun(2);
  await viewer.switchesDownAndUp();
  await viewer.until("has ended", 60, now => now.stream === "has ended");
  await browser.close();

  const [high, low] = (await Promise.all(["high", "low"].map(facts))).map(found => JSON.stringify(found));
  console.log("both qualities:", high);
  if (high !== low || !/^{"discontinuities":1,"starts":\["\d+,K[^"]*"(,"\d+,K[^"]*"){4,}\]}$/.test(high)) {
    throw new Error(`the qualities differ: ${high} / ${low}`);
  }
}

const profile = mkdtempSync("/tmp/profile.");
checkLive(profile, process.argv[2])
  .then(() => checkAdaptive(profile))
  .catch(error => { console.error(String(error)); process.exitCode = 1; })
  .finally(async () => {
    await demonstration?.end();
    rmSync(profile, { recursive: true });
    process.exit();
  });
