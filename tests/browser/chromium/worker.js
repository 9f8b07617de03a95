// Hands one download over as the capture extension does, then a link that must be refused, and reports both replies.
// page.json, written by the test, names the page that sets a cookie and the file behind it.

const host = "com.fetra.host";

async function handOver() {
    const { page, file, report } = await (await fetch(chrome.runtime.getURL("page.json"))).json();
    const result = {};
    try {
        await fetch(page, { credentials: "include" });
        const cookies = await chrome.cookies.getAll({ url: file });
        result.good = await chrome.runtime.sendNativeMessage(host, {
            url: file,
            cookie: cookies.map(({ name, value }) => `${name}=${value}`).join("; "),
            referrer: page,
            userAgent: navigator.userAgent,
            filename: "captured.bin",
        });
        result.bad = await chrome.runtime.sendNativeMessage(host, { url: "file:///etc/hostname" });
    } catch (error) {
        result.failure = String(error);
    }
    await fetch(report, { method: "POST", body: JSON.stringify(result) });
}

handOver();
