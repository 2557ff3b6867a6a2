#version 450
layout(location = 0) in vec4 position;
layout(location = 1) in vec3 normal;
layout(location = 2) in vec3 tangent;
layout(location = 3) in vec2 uv;
layout(location = 4) in vec3 toLight;
layout(location = 5) in vec3 toEye;
layout(set = 0, binding = 0) uniform Camera { mat4 modelViewProjection; };
layout(location = 0) out vec3 vNormal;
layout(location = 1) out vec3 vTangent;
layout(location = 2) out vec2 vUv;
layout(location = 3) out vec3 vToLight;
layout(location = 4) out vec3 vToEye;

void main() {
    vNormal = normal;
    vTangent = tangent;
    vUv = uv;
    vToLight = toLight;
    vToEye = toEye;
    gl_Position = modelViewProjection * position;
}
