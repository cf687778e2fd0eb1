// The search of the site works in a worker, which browsers refuse to pages that are opened from a disk. There
// a hidden frame does its work: it runs the same script and exchanges the same messages.
if (location.protocol === "file:") {
  window.Worker = class extends EventTarget {
    constructor(url) {
      super();
      this.onmessage = null;
      this.waiting = [];
      const script = new URL(url, location.href).href.replace(/"/g, "%22");
      this.frame = document.createElement("iframe");
      this.frame.hidden = true;
      this.frame.srcdoc =
        '<script>function postMessage(data) { parent.postMessage(data, "*"); }</script>' +
        `<script src="${script}"></script>`;
      this.frame.addEventListener("load", () => {
        this.isLoaded = true;
        this.waiting.splice(0).forEach((data) => this.postMessage(data));
      });
      window.addEventListener("message", (event) => this.pass(event));
      document.body.append(this.frame);
    }

    pass(event) {
      if (event.source !== this.frame.contentWindow) {
        return;
      }
      const passed = new MessageEvent("message", { data: event.data });
      this.dispatchEvent(passed);
      if (this.onmessage) {
        this.onmessage(passed);
      }
    }

    postMessage(data) {
      if (this.isLoaded) {
        // The frame's own function of that name is the worker's.
        window.postMessage.call(this.frame.contentWindow, data, "*");
      } else {
        this.waiting.push(data);
      }
    }

    terminate() {
      this.frame.remove();
    }
  };
}
