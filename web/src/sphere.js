const vertexSource = `
attribute vec2 corner;
varying vec2 place;
void main() { place = corner; gl_Position = vec4(corner, 0.0, 1.0); }`;

/* The ray of a pixel is turned into longitude and latitude, which are the picture's coordinates. */
const fragmentSource = `
precision highp float;
uniform sampler2D picture;
uniform mat3 turn;
uniform vec2 reach;
varying vec2 place;
void main() {
    vec3 ray = turn * vec3(place * reach, 1.0);
    float across = atan(ray.x, ray.z) / 6.28318531 + 0.5;
    float down = 0.5 - atan(ray.y, length(ray.xz)) / 3.14159265;
    gl_FragColor = texture2D(picture, vec2(across, down));
}`;

function shader(gl, type, source) {
    const made = gl.createShader(type);
    gl.shaderSource(made, source);
    gl.compileShader(made);
    return made;
}

const radians = Math.PI / 180;
const within = (value, low, high) => Math.min(Math.max(value, low), high);

/** Draws an equirectangular picture as seen from its middle. */
export class Sphere {
    /** Degrees: to the right, up, horizontal field of view. */
    view = { heading: 0, pitch: 0, fieldOfView: 90 };

    /** Throws where there is no WebGL. */
    constructor(canvas) {
        this.canvas = canvas;
        const gl = (this.gl = canvas.getContext("webgl", { preserveDrawingBuffer: true }));
        if (!gl) throw new Error("no WebGL");
        const program = gl.createProgram();
        gl.attachShader(program, shader(gl, gl.VERTEX_SHADER, vertexSource));
        gl.attachShader(program, shader(gl, gl.FRAGMENT_SHADER, fragmentSource));
        gl.linkProgram(program);
        gl.useProgram(program);
        this.turn = gl.getUniformLocation(program, "turn");
        this.reach = gl.getUniformLocation(program, "reach");
        gl.bindBuffer(gl.ARRAY_BUFFER, gl.createBuffer());
        gl.bufferData(gl.ARRAY_BUFFER, new Float32Array([-1, -1, 3, -1, -1, 3]), gl.STATIC_DRAW);
        gl.enableVertexAttribArray(0);
        gl.bindAttribLocation(program, 0, "corner");
        gl.vertexAttribPointer(gl.getAttribLocation(program, "corner"), 2, gl.FLOAT, false, 0, 0);
        gl.bindTexture(gl.TEXTURE_2D, gl.createTexture());
        for (const name of [gl.TEXTURE_WRAP_S, gl.TEXTURE_WRAP_T]) gl.texParameteri(gl.TEXTURE_2D, name, gl.CLAMP_TO_EDGE);
        gl.texParameteri(gl.TEXTURE_2D, gl.TEXTURE_MIN_FILTER, gl.LINEAR);
    }

    /** Takes a picture or the frame that a video shows; scaled down where the device cannot hold it. */
    setPicture(source, width, height) {
        const { gl } = this;
        const most = gl.getParameter(gl.MAX_TEXTURE_SIZE);
        if (width > most || height > most) {
            const scale = most / Math.max(width, height);
            const small = document.createElement("canvas");
            small.width = Math.floor(width * scale);
            small.height = Math.floor(height * scale);
            small.getContext("2d").drawImage(source, 0, 0, small.width, small.height);
            source = small;
        }
        gl.texImage2D(gl.TEXTURE_2D, 0, gl.RGB, gl.RGB, gl.UNSIGNED_BYTE, source);
        this.draw();
    }

    lookAt(view) {
        this.view.heading = ((((view.heading ?? this.view.heading) + 180) % 360) + 360) % 360 - 180;
        this.view.pitch = within(view.pitch ?? this.view.pitch, -90, 90);
        this.view.fieldOfView = within(view.fieldOfView ?? this.view.fieldOfView, 20, 140);
        this.draw();
    }

    draw() {
        const { canvas, gl } = this;
        canvas.width = Math.max(canvas.clientWidth * devicePixelRatio, 1);
        canvas.height = Math.max(canvas.clientHeight * devicePixelRatio, 1);
        gl.viewport(0, 0, canvas.width, canvas.height);
        const [heading, pitch] = [this.view.heading * radians, this.view.pitch * radians];
        const [ch, sh, cp, sp] = [Math.cos(heading), Math.sin(heading), Math.cos(pitch), Math.sin(pitch)];
        gl.uniformMatrix3fv(this.turn, false, [ch, 0, -sh, -sh * sp, cp, -ch * sp, sh * cp, sp, ch * cp]);
        const reach = Math.tan((this.view.fieldOfView * radians) / 2);
        gl.uniform2f(this.reach, reach, (reach * canvas.height) / canvas.width);
        gl.drawArrays(gl.TRIANGLES, 0, 3);
    }

    dispose() {
        this.gl.getExtension("WEBGL_lose_context")?.loseContext();
    }
}
