import type { Board } from "./board";
import type { Timeline } from "./timeline";

/** What keys and pointer ask for beside moving through time. */
export interface Actions {
    seek(seconds: number): void;
    togglePlay(): void;
    toggleLoop(): void;
    toggleClicks(): void;
}

/** Pointer: a drag moves, a click places the cursor, the wheel zooms with Ctrl or Shift. */
export function connectPointer(board: Board, timeline: Timeline, actions: Actions): void {
    let last: { x: number; moved: number } | null = null;
    const isPlot = (target: EventTarget | null): boolean => target instanceof Element && target.closest(".u-over, .ruler") !== null;
    board.element.addEventListener("pointerdown", (event) => {
        if (event.button === 0 && isPlot(event.target)) {
            last = { x: event.clientX, moved: 0 };
            board.element.setPointerCapture(event.pointerId);
        }
    });
    board.element.addEventListener("pointermove", (event) => {
        if (last) {
            const seconds = board.secondsAt(last.x) - board.secondsAt(event.clientX);
            last.moved += Math.abs(event.clientX - last.x);
            last.x = event.clientX;
            if (last.moved > 3) {
                timeline.pan(seconds);
            }
        }
        board.point(isPlot(event.target) || last ? event : null);
    });
    board.element.addEventListener("pointerup", (event) => {
        if (last && last.moved <= 3) {
            actions.seek(board.secondsAt(event.clientX));
        }
        last = null;
    });
    board.element.addEventListener("pointercancel", () => {
        last = null;
    });
    board.element.addEventListener("pointerleave", () => board.point(null));
    board.element.addEventListener(
        "wheel",
        (event) => {
            if (event.ctrlKey || event.metaKey || event.shiftKey) {
                const turned = event.deltaY !== 0 ? event.deltaY : event.deltaX;
                timeline.zoom(Math.exp(-turned / 300), board.secondsAt(event.clientX));
            } else if (Math.abs(event.deltaX) > Math.abs(event.deltaY)) {
                timeline.pan((event.deltaX / board.element.clientWidth) * timeline.span);
            } else {
                return; // the page scrolls
            }
            event.preventDefault();
        },
        { passive: false },
    );
}

/** Every key of the page and what it does, which its help lists too. */
export const keys: { key: string; name: string; does: string }[] = [
    { key: " ", name: "Space", does: "plays and pauses" },
    { key: "ArrowLeft", name: "←", does: "moves the cursor back; with Shift by more" },
    { key: "ArrowRight", name: "→", does: "moves the cursor on; with Shift by more" },
    { key: "PageUp", name: "Page up", does: "shows what comes before, with the focus on the ruler" },
    { key: "PageDown", name: "Page down", does: "shows what comes next, with the focus on the ruler" },
    { key: "+", name: "+", does: "zooms in at the cursor" },
    { key: "-", name: "−", does: "zooms out" },
    { key: "0", name: "0", does: "shows the whole song" },
    { key: "Home", name: "Home", does: "moves the cursor to the start, with the focus on the ruler" },
    { key: "End", name: "End", does: "moves the cursor to the end, with the focus on the ruler" },
    { key: "l", name: "L", does: "loops the bar around the cursor" },
    { key: "c", name: "C", does: "switches clicks" },
];

export function connectKeys(board: Board, timeline: Timeline, actions: Actions): void {
    const step = (event: KeyboardEvent): number => timeline.span * (event.shiftKey ? 0.1 : 0.01);
    const move = (seconds: number): void => {
        actions.seek(Math.min(Math.max(seconds, 0), timeline.duration));
        timeline.moveCursor(timeline.cursor, true);
    };
    const everywhere: Record<string, (event: KeyboardEvent) => void> = {
        ArrowLeft: (event) => move(timeline.cursor - step(event)),
        ArrowRight: (event) => move(timeline.cursor + step(event)),
        "+": () => timeline.zoom(2, timeline.cursor),
        "=": () => timeline.zoom(2, timeline.cursor),
        "-": () => timeline.zoom(0.5, timeline.cursor),
        "0": () => timeline.showAll(),
        " ": () => actions.togglePlay(),
        l: () => actions.toggleLoop(),
        c: () => actions.toggleClicks(),
    };
    const onRuler: Record<string, () => void> = {
        PageUp: () => timeline.pan(-timeline.span),
        PageDown: () => timeline.pan(timeline.span),
        Home: () => move(0),
        End: () => move(timeline.duration),
    };
    document.addEventListener("keydown", (event) => {
        const target = event.target as Element;
        if (event.ctrlKey || event.metaKey || event.altKey || target.closest("input, button, summary, audio, a, .scroll")) {
            return; // they have keys of their own
        }
        const does = everywhere[event.key] ?? (target === board.ruler ? onRuler[event.key] : undefined);
        if (does) {
            event.preventDefault();
            does(event);
        }
    });
}
