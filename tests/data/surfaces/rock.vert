#version 450
layout(location = 0) in vec3 position;
layout(location = 1) in vec3 normal;
layout(location = 2) in vec3 toLight;
layout(set = 0, binding = 0) uniform Camera {
    mat4 modelViewProjection;
    float scale;
};
layout(location = 0) out vec3 vPosition;
layout(location = 1) out vec3 vNormal;
layout(location = 2) out vec3 vToLight;

void main() {
    vPosition = position * scale;
    vNormal = normal;
    vToLight = toLight;
    gl_Position = modelViewProjection * vec4(position, 1.0);
}
