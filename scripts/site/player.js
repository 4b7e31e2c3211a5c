"use strict";

// Players that switch between versions of a sound without losing the place: all versions run
// together, and all but one are silent. Without this file every version has the browser's own player.

(() => {
  const fadeSeconds = 0.02;
  const isCalm = matchMedia("(prefers-reduced-motion: reduce)");
  let context = null;
  let playing = null;

  // Decoded sounds, which run in step to the sample.
  class Buffers {
    static async load(elements) {
      const made = new Buffers();
      await Promise.all(elements.map(async (element) => {
        const response = await fetch(element.src);
        if (!response.ok) throw new Error(response.statusText);
        made.buffers.set(element.dataset.version, await context.decodeAudioData(await response.arrayBuffer()));
      }));
      return made;
    }

    constructor() {
      this.buffers = new Map();
      this.gains = new Map();
      this.output = context.createGain();
      this.output.connect(context.destination);
      this.sources = [];
      this.from = 0; // place at which it was started
      this.since = 0; // time of the context then
    }

    get seconds() {
      return Math.min(...[...this.buffers.values()].map((buffer) => buffer.duration));
    }

    get place() {
      const run = this.sources.length > 0 ? Math.max(0, context.currentTime - this.since) : 0;
      return (this.from + run) % this.seconds;
    }

    async start(chosen) {
      await context.resume();
      this.since = context.currentTime + 0.03; // so that all can be ready
      for (const [version, buffer] of this.buffers) {
        const gain = new GainNode(context, { gain: version === chosen ? 1 : 0 });
        const source = new AudioBufferSourceNode(context, { buffer, loop: true, loopEnd: this.seconds });
        source.connect(gain).connect(this.output);
        source.start(this.since, this.from);
        this.sources.push(source);
        this.gains.set(version, gain);
      }
    }

    stop() {
      this.from = this.place;
      for (const source of this.sources) source.stop();
      this.sources = [];
    }

    seek(place, chosen) {
      const wasRunning = this.sources.length > 0;
      this.stop();
      this.from = Math.min(place, this.seconds - 0.01);
      if (wasRunning) this.start(chosen);
    }

    choose(chosen) {
      for (const [version, gain] of this.gains)
        gain.gain.setTargetAtTime(version === chosen ? 1 : 0, context.currentTime, fadeSeconds / 3);
    }
  }

  // Pages that are opened from a disk may play files but not read them: the browser's own players,
  // which are kept in step to some hundredths of a second.
  class Elements {
    constructor(elements) {
      this.elements = new Map(elements.map((element) => [element.dataset.version, element]));
      for (const element of elements) {
        element.preload = "auto";
        element.loop = true;
      }
    }

    get place() {
      return this.heard ? this.heard.currentTime : 0;
    }

    async start(chosen) {
      this.choose(chosen);
      await Promise.all([...this.elements.values()].map((element) => element.play()));
      this.keeper = setInterval(() => this.keepInStep(), 100);
    }

    stop() {
      clearInterval(this.keeper);
      for (const element of this.elements.values()) element.pause();
    }

    seek(place) {
      for (const element of this.elements.values()) element.currentTime = place;
    }

    choose(chosen) {
      this.heard = this.elements.get(chosen);
      this.heard.playbackRate = 1;
      for (const element of this.elements.values()) element.muted = element !== this.heard;
    }

    // Silent ones run a little faster or slower; what is far away leaps.
    keepInStep() {
      for (const element of this.elements.values()) {
        const late = this.heard.currentTime - element.currentTime;
        if (element === this.heard || element.seeking) continue;
        if (Math.abs(late) > 0.3) element.currentTime = this.heard.currentTime;
        else element.playbackRate = 1 + Math.min(0.2, Math.max(-0.2, 2 * late));
      }
    }
  }

  class Player {
    constructor(root) {
      this.root = root;
      this.seconds = Number(root.dataset.seconds);
      this.elements = [...root.querySelectorAll("audio")];
      this.radios = [...root.querySelectorAll("input[type=radio]")];
      this.button = root.querySelector(".play");
      this.title = this.button.getAttribute("aria-label").replace(/^\w+ /, "");
      this.position = root.querySelector(".position");
      this.time = root.querySelector(".time");
      this.trouble = root.querySelector(".trouble");
      this.drawings = root.closest(".example").querySelector(".drawings");
      this.head = this.drawings.querySelector(".head");
      this.sounds = null;
      this.chosen = "before";
      this.lastCleaned = "precise";
      this.listen();
      this.prepare();
    }

    listen() {
      this.button.addEventListener("click", () => {
        this.button.focus(); // some browsers do not give it the focus, and with it the keys
        if (playing === this) this.stop();
        else this.start();
      });
      this.position.addEventListener("input", () => this.seek(Number(this.position.value)));
      this.radios.forEach((radio) => radio.addEventListener("change", () => this.choose(radio.value)));
      this.root.addEventListener("keydown", (event) => this.press(event));
    }

    prepare() {
      for (const element of this.elements) element.controls = false;
      // Browsers keep what was chosen before a page was reloaded.
      this.position.value = 0;
      this.radios[0].checked = true;
      this.root.querySelector(".transport").hidden = false;
      this.root.classList.add("ready");
      this.drawings.classList.add("ready-drawings");
      this.show();
    }

    press(event) {
      if (event.ctrlKey || event.altKey || event.metaKey) return;
      const version = { a: "before", b: this.lastCleaned }[event.key.toLowerCase()];
      if (!version) return;
      event.preventDefault();
      this.choose(version);
    }

    async start() {
      if (playing) playing.stop();
      playing = this;
      try {
        await this.load();
        if (playing === this) await this.sounds.start(this.chosen);
      } catch (error) {
        if (error.name !== "AbortError") this.fail(); // which a pause in between is
      }
      if (playing !== this) return;
      this.label("Pause");
      this.follow();
    }

    async load() {
      if (this.sounds) return;
      this.label("Loading");
      if (location.protocol === "file:") {
        this.sounds = new Elements(this.elements);
      } else {
        context ??= new AudioContext();
        this.sounds = await Buffers.load(this.elements);
      }
      this.sounds.seek(Number(this.position.value), this.chosen);
    }

    stop() {
      if (playing === this) playing = null;
      this.sounds?.stop();
      this.label("Play");
    }

    fail() {
      this.stop();
      this.trouble.textContent = "The sound cannot be loaded, or not played by this browser (Opus).";
    }

    seek(seconds) {
      this.sounds?.seek(seconds, this.chosen);
      this.showPlace(seconds);
    }

    choose(version) {
      this.chosen = version;
      if (version !== "before") this.lastCleaned = version;
      this.radios.find((radio) => radio.value === version).checked = true;
      this.sounds?.choose(version);
      this.show();
    }

    follow() {
      let shown = 0;
      const step = (now) => {
        if (playing !== this) return;
        if (now - shown > (isCalm.matches ? 500 : 0)) {
          shown = now;
          this.position.value = this.sounds.place;
          this.showPlace(this.sounds.place);
        }
        requestAnimationFrame(step);
      };
      requestAnimationFrame(step);
    }

    showPlace(seconds) {
      this.time.textContent = `${seconds.toFixed(1)} / ${this.seconds.toFixed(1)} s`;
      this.head.hidden = false;
      this.head.style.left = `${(100 * seconds) / this.seconds}%`;
    }

    show() {
      for (const drawn of this.drawings.querySelectorAll("[data-version]"))
        drawn.classList.toggle("shown", drawn.dataset.version === this.chosen);
    }

    label(word) {
      this.button.textContent = word;
      this.button.setAttribute("aria-label", `${word} ${this.title}`);
    }
  }

  for (const root of document.querySelectorAll(".player")) root.player = new Player(root);
})();
