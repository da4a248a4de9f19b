(function () {
  "use strict";
  const frame = document.getElementById("frame");
  if (!frame) return;
  const reference = document.getElementById("reference"), caption = document.getElementById("caption");
  const thumbs = Array.from(document.querySelectorAll(".thumbs button"));
  const toggle = document.getElementById("toggle"), blink = document.getElementById("blink");
  let current = 0, showsReference = false, timer = 0;

  function show() {
    const thumb = thumbs[current];
    if (frame.src !== thumb.firstElementChild.src) frame.src = thumb.firstElementChild.src;
    frame.alt = thumb.dataset.caption;
    frame.hidden = showsReference;
    reference.hidden = !showsReference;
    caption.textContent = showsReference ? reference.alt : thumb.dataset.caption;
    toggle.setAttribute("aria-pressed", String(showsReference));
    thumbs.forEach((other, i) => other.setAttribute("aria-pressed", String(i === current)));
  }
  function choose(index) {
    current = (index + thumbs.length) % thumbs.length;
    showsReference = false;
    show();
  }
  function flip() {
    showsReference = !showsReference;
    show();
  }
  function startOrStop() {
    if (timer) clearInterval(timer);
    timer = timer ? 0 : setInterval(flip, 600);
    blink.setAttribute("aria-pressed", String(timer !== 0));
  }

  thumbs.forEach((thumb, i) => thumb.addEventListener("click", () => (i === current ? flip() : choose(i))));
  document.querySelectorAll("[data-frame]").forEach((link) => link.addEventListener("click", () => {
    choose(thumbs.findIndex((thumb) => thumb.dataset.number === link.dataset.frame));
    document.getElementById("view").scrollIntoView();
  }));
  document.getElementById("view").addEventListener("click", flip);
  document.getElementById("previous").addEventListener("click", () => choose(current - 1));
  document.getElementById("next").addEventListener("click", () => choose(current + 1));
  toggle.addEventListener("click", flip);
  blink.addEventListener("click", startOrStop);
  document.addEventListener("keydown", (event) => {
    if (event.ctrlKey || event.altKey || event.metaKey) return;
    // What has the focus keeps its keys: a button its space bar, the table its arrows.
    const focused = event.target.closest("button, a, summary, .scroll");
    if (event.key === " " && focused) return;
    if (focused && focused.classList.contains("scroll")) return;
    if (event.key === "ArrowLeft") choose(current - 1);
    else if (event.key === "ArrowRight") choose(current + 1);
    else if (event.key === " ") flip();
    else if (event.key === "b") startOrStop();
    else return;
    event.preventDefault();
  });
  show();
})();
