// The preview and its transport, with state of its own so that frames arriving
// many times a second redraw only this pane. Frames are rendered by the server:
// JPEG while playing, an exact PNG when paused. Pictures are requested ahead
// (three in flight) so the round trip and the decoding overlap the next render.
import React, { useEffect, useRef, useState } from 'react';
import { ConnectionLost, fetchPreview } from './api.js';

const STEP = 1 / 25;
const AHEAD = 3;

export default function PreviewPane({ previewId, version, onLost }) {
  const [playing, setPlaying] = useState(false);
  const [time, setTime] = useState(0);
  const [frame, setFrame] = useState(null);
  const [error, setError] = useState(null);
  const [fps, setFps] = useState(null);
  const [size, setSize] = useState([640, 360]);
  const [stepCount, setStepCount] = useState(0);
  const timeRef = useRef(0);

  useEffect(() => {
    if (!previewId) return undefined;
    let cancelled = false;
    const shownVersion = version;
    const show = (url, t) => {
      setFrame((old) => {
        if (old) URL.revokeObjectURL(old.url);
        return { url, node: previewId, version: shownVersion, time: t };
      });
    };
    const failed = (e) => {
      if (e instanceof ConnectionLost) onLost(e.message);
      setError(e.message);
    };
    (async () => {
      if (!playing) {
        const t = timeRef.current;
        try {
          const url = await fetchPreview(previewId, t, size[0], size[1], 'png');
          if (cancelled) URL.revokeObjectURL(url);
          else {
            show(url, t);
            setError(null);
          }
        } catch (e) {
          if (!cancelled) failed(e);
        }
        return;
      }
      const wallStart = performance.now();
      const timeStart = timeRef.current;
      const now = () => timeStart + (performance.now() - wallStart) / 1000;
      const request = () => {
        const t = now();
        return fetchPreview(previewId, t, size[0], size[1], 'jpeg').then((url) => ({ url, t }));
      };
      const queue = [];
      for (let i = 0; i < AHEAD; i++) queue.push(request());
      let count = 0;
      let windowStart = performance.now();
      while (!cancelled) {
        const next = queue.shift();
        try {
          const { url, t } = await next;
          if (cancelled) {
            URL.revokeObjectURL(url);
            break;
          }
          queue.push(request());
          show(url, t);
          setError(null);
          timeRef.current = t;
          setTime(t);
          count += 1;
          const at = performance.now();
          if (at - windowStart >= 1000) {
            setFps((count * 1000) / (at - windowStart));
            count = 0;
            windowStart = at;
          }
        } catch (e) {
          if (cancelled) break;
          failed(e);
          await new Promise((r) => setTimeout(r, 500));
          queue.push(request());
        }
      }
      // Frames still on their way are dropped.
      for (const pending of queue) pending.then(({ url }) => URL.revokeObjectURL(url), () => {});
    })();
    return () => {
      cancelled = true;
    };
  }, [previewId, playing, version, size, stepCount, onLost]);

  const step = (delta) => {
    setPlaying(false);
    const t = Math.max(0, Math.round((timeRef.current + delta) / STEP) * STEP);
    timeRef.current = t;
    setTime(t);
    setStepCount((n) => n + 1);
  };

  return (
    <section className="preview">
      <div className="transport">
        <button data-testid="play" onClick={() => setPlaying((p) => !p)}>{playing ? '❚❚ Pause' : '▶ Play'}</button>
        <button data-testid="step" onClick={() => step(STEP)} title="Next frame">▶|</button>
        <button onClick={() => step(-STEP)} title="Previous frame">|◀</button>
        <button onClick={() => step(-timeRef.current)} title="Back to 0">|◀◀</button>
        <span className="time" data-testid="time">t = {time.toFixed(3)} s</span>
        <span className="fps" data-testid="fps">{playing && fps ? `${fps.toFixed(1)} fps` : ''}</span>
      </div>
      <div className="preview-title">
        Preview: <strong data-testid="preview-node">{previewId || 'none'}</strong>
        <select value={size.join('x')} onChange={(e) => setSize(e.target.value.split('x').map(Number))} aria-label="Preview size">
          {['320x180', '640x360', '960x540', '1280x720'].map((s) => (
            <option key={s} value={s}>{s.replace('x', '×')}</option>
          ))}
        </select>
      </div>
      <div className="preview-frame" style={{ aspectRatio: `${size[0]} / ${size[1]}` }}>
        {frame && (
          <img src={frame.url} alt="preview" data-testid="preview-image" data-node={frame.node} data-version={frame.version}
               data-time={frame.time} />
        )}
      </div>
      {error && <div className="banner error" role="alert" data-testid="preview-error">{error}</div>}
    </section>
  );
}
