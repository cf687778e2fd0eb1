import "uplot/dist/uPlot.min.css";
import "./page.css";
import { description } from "./data";
import { make } from "./dom";
import { showIndex } from "./indexPage";
import { renderClicks } from "./player";
import { showSong, type SongHandle } from "./songPage";

declare global {
    interface Window {
        /** For scripts that drive the page. */
        qelReport?: SongHandle & { renderClicks: typeof renderClicks };
    }
}

function show(app: HTMLElement): void {
    const page = description();
    if (page?.kind === "song") {
        window.qelReport = { ...showSong(page, app), renderClicks };
    } else if (page?.kind === "index") {
        showIndex(page, app);
    } else {
        app.append(make("p", {}, "This is the template of qel report: no song is in it."));
    }
}

show(document.getElementById("app") as HTMLElement);
